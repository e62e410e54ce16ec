#!/usr/bin/env python3
"""Reads a workspace file of Quarn, by docs/workspace-format.md. Run as a program, it lists what the file holds."""

import re
import sys


class Lines:
    def __init__(self, path):
        with open(path, encoding="utf-8", errors="surrogateescape", newline="\n") as file:
            self._lines = iter(file.read().split("\n"))

    def line(self):
        return next(self._lines)

    def integer(self):
        return int(self.line())

    def fields(self):
        return self.line().split("~")

    def names(self):  # a count, and the names on one line if there are any
        return self.fields() if self.integer() > 0 else []

    def body(self, rows, columns):  # of a matrix whose shape is known
        if rows == 0 or columns == 0:
            self.line()
            return []
        return [[float(cell) for cell in self.fields()] for _ in range(rows)]

    def matrix(self):
        return self.body(*map(int, self.fields()))


def read_dataset(lines):
    name, observations, variables = lines.fields()
    observations, variables = int(observations), int(variables)
    kind, time, group, time_format, transformed = lines.fields()
    dataset = {"type": int(kind), "time": time, "group": group, "format": time_format, "transformed": transformed == "1"}
    dataset["names"] = lines.fields()[:variables]
    dataset["data"] = lines.body(observations, variables)
    dataset["texts"] = {}
    for _ in range(lines.integer()):
        column, _, is_time = lines.fields()
        dataset["texts"][int(column)] = [lines.line() for _ in range(observations)]
    dataset["key"] = lines.line()
    return name, dataset


def read_elements(lines):
    elements = {}
    for _ in range(lines.integer()):
        name, rows, columns = lines.fields()
        rows, columns = int(rows), int(columns)
        elements[name] = lines.body(rows, columns) if rows and columns else []
    return elements


def read_model(lines):
    model = {"code": lines.integer(), "type": lines.line(), "command": lines.line(), "flag": lines.line() == "true"}
    model["top"] = "\n".join(lines.line() for _ in range(lines.integer() + 1))
    model["elapsed"] = lines.line()
    model["parameters"] = lines.names()
    model["draws"], model["ids"] = lines.matrix(), lines.matrix()
    model["headings"], model["labels"] = lines.names(), lines.names()
    model["table"] = lines.matrix()
    model["blocks"] = [lines.integer() for _ in range(lines.integer())]
    model["integers"] = [int(field) for field in lines.fields()[1:]]
    model["integer_lists"] = [[int(field) for field in lines.fields()[1:]] for _ in range(lines.integer())]
    model["elements"], model["hidden"] = read_elements(lines), read_elements(lines)
    model["changed"], model["deleted"] = lines.line() == "true", lines.line() == "true"
    model["dataset"] = lines.line()
    return model


def read_string(lines):  # the end mark may begin on one line and end on the next
    end, text, joined = "_#_end_of_string_#_", [], ""
    while end not in joined:
        text.append(lines.line())
        joined = joined[1 - len(end):] + text[-1]
    mark = "\n*".join(map(re.escape, end))
    before, behind = re.fullmatch(f"(.*){mark}(.*)", "\n".join(text), re.DOTALL).groups()  # of the last one
    return before + behind


def read_structure(lines):
    matrices, datasets, models, structures, strings = (lines.integer() for _ in range(5))
    structure = {"matrices": {}, "models": {}, "structures": {}, "strings": {}}
    for _ in range(matrices):
        name, rows, columns = lines.fields()
        structure["matrices"][name] = lines.body(int(rows), int(columns))
    structure["datasets"] = dict(read_dataset(lines) for _ in range(datasets))
    for _ in range(models):
        name = lines.line()
        structure["models"][name] = read_model(lines)
    for _ in range(structures):
        name = lines.line()
        structure["structures"][name] = read_structure(lines)
    for _ in range(strings):
        name = lines.line()
        structure["strings"][name] = read_string(lines)
    return structure


def read_workspace(path):
    return read_structure(Lines(path))


def show(structure, margin=""):
    for kind in ("matrices", "datasets", "models", "strings"):
        for name in structure[kind]:
            print(f"{margin}{kind}: {name}")
    for name, below in structure["structures"].items():
        print(f"{margin}structures: {name}")
        show(below, margin + "    ")


if __name__ == "__main__":
    show(read_workspace(sys.argv[1]))
