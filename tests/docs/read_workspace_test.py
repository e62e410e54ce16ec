#!/usr/bin/env python3
"""The reader of docs/read_workspace.py on workspaces that example programs have saved.

read_workspace_test.py SMALL INVESTMENT, the outputs of small_workspace and investment
"""

import math
import statistics
import sys
import unittest
from pathlib import Path
from types import SimpleNamespace

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "docs"))
from read_workspace import read_string, read_workspace  # noqa: E402

SMALL, INVESTMENT = sys.argv[1:3]


class SmallWorkspace(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.top = read_workspace(SMALL)

    def test_matrices_keep_every_bit(self):
        self.assertEqual(self.top["matrices"], {"A": [[1.0, 1.0 / 3.0], [-0.0, math.inf]], "none": []})
        self.assertEqual(math.copysign(1.0, self.top["matrices"]["A"][1][0]), -1.0)

    def test_dataset_has_numbers_texts_and_its_declaration(self):
        rates = self.top["datasets"]["rates"]
        self.assertEqual((rates["type"], rates["time"], rates["format"]), (1, "quarter", "yyyyqx"))
        self.assertEqual(rates["names"], ["QuarnSystemVar_obsID", "quarter", "rate"])
        self.assertEqual([row[0] for row in rates["data"]], [1.0, 2.0, 3.0])
        self.assertEqual(rates["data"][0][2], 0.1)
        self.assertTrue(math.isnan(rates["data"][1][2]))
        self.assertEqual(rates["texts"], {1: ["2001q1", "2001q2", "2001q4"]})

    def test_models_lie_below_and_bear_the_key_of_their_dataset(self):
        models = self.top["structures"]["below"]["models"]
        mean, plain = models["mean"], models["plain"]
        self.assertEqual(mean["dataset"], self.top["datasets"]["rates"]["key"])
        self.assertEqual((plain["dataset"], plain["code"], plain["draws"]), ("empty", -1, []))
        self.assertEqual(mean["top"], "Dependent variable: rate\nDraws: 2")
        self.assertEqual((mean["parameters"], mean["draws"]), (["mu", "tau"], [[-1.25, 0.5], [-1.0, 1e-300]]))
        self.assertEqual((mean["headings"], mean["labels"], mean["blocks"]), (["rate"], ["mu"], [1]))
        self.assertEqual((mean["integers"], mean["integer_lists"]), ([7, -8], [[1, 2, 3], []]))
        self.assertEqual((mean["elements"], mean["hidden"]), ({"empty": [], "logML": [[-3.75]]}, {}))
        self.assertEqual((mean["changed"], mean["deleted"]), (False, False))

    def test_strings_keep_their_lines(self):
        self.assertEqual(self.top["strings"], {"note": "two\nlines", "void": ""})


class TextOfAString(unittest.TestCase):
    def test_ends_by_the_last_mark_on_the_lines_joined(self):
        mark = "_#_end_of_string_#_"
        for saved, text in (
            ("abc" + mark, "abc"),
            (mark, ""),
            ("a\n\nb" + mark, "a\n\nb"),
            ("a\n" + mark[:5] + "\n" + mark[5:], "a\n"),
            ("x" + mark[:12] + "\n" + mark[12:] + "y\nz", "xy"),
            ("a" + mark + "b", "ab"),
            (mark + mark, mark),
            ("a\n_#_end_of_string" + mark, "a\n_#_end_of_string"),
        ):
            rest = iter((saved + "\nnext").split("\n"))
            self.assertEqual(read_string(SimpleNamespace(line=lambda: next(rest))), text)


class Investment(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.top = read_workspace(INVESTMENT)

    def test_tables_of_posterior_moments_are_those_of_the_draws(self):
        for name, columns in (("both", 5), ("value_only", 4)):
            model = self.top["structures"]["regressions"]["models"][name]
            self.assertEqual((len(model["draws"]), len(model["parameters"])), (10000, columns))
            for draws, row in zip(zip(*model["draws"]), model["table"]):
                self.assertAlmostEqual(statistics.fmean(draws) / row[0], 1.0, places=12)
                self.assertAlmostEqual(statistics.median(draws) / row[1], 1.0, places=12)
                self.assertAlmostEqual(statistics.stdev(draws) / row[2], 1.0, places=9)

    def test_ids_of_models_are_those_of_the_dataset(self):
        firms = self.top["datasets"]["firms"]
        ids = [[row[0]] for row in firms["data"]]
        for model in self.top["structures"]["regressions"]["models"].values():
            self.assertEqual((model["dataset"], model["ids"]), (firms["key"], ids))

    def test_texts_of_the_source_file_come_back(self):
        self.assertEqual(self.top["datasets"]["firms"]["texts"][2][0], "General Motors")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
