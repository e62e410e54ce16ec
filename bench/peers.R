# The operations of beside_peers.cpp by data.table, on one thread, in processor time. Prints the same kind of lines.
#
#   Rscript --vanilla bench/peers.R import FILE...
#   Rscript --vanilla bench/peers.R sort FILE COLUMN COLUMN...    key columns as integers, then as doubles
#   Rscript --vanilla bench/peers.R panel FILE                    by the package collapse, and data.table's join on dates
#   Rscript --vanilla bench/peers.R text FILE...                  written with 15 digits to FILE.written; FILE read

suppressPackageStartupMessages(library(data.table))
setDTthreads(1)
runs <- 7

processor_seconds <- function() sum(proc.time()[1:2])
peak_megabytes <- function() {
  line <- grep("^VmHWM", readLines("/proc/self/status"), value = TRUE)
  as.numeric(gsub("[^0-9]", "", line)) / 1024
}
report <- function(file, name, metric, scale, operation) {
  values <- replicate(runs, {
    gc(FALSE)
    start <- processor_seconds()
    result <- operation()
    scale(processor_seconds() - start)
  })
  cat(sprintf("%s\t%s\t%s\t%.6g\t%.6g\t%.6g\n", file, name, metric, median(values), min(values), max(values)))
}

import <- function(file) {
  before <- peak_megabytes()
  operation <- function() fread(file, showProgress = FALSE)
  table <- operation()
  cat(sprintf("%s\tfread\tpeak_over_start_MB\t%.1f\n", file, peak_megabytes() - before))
  rm(table)
  megabytes <- file.size(file) / 1e6
  report(file, "fread", "MB_per_s", function(seconds) megabytes / seconds, operation)
}

sort_table <- function(file, columns) {
  table <- fread(file, showProgress = FALSE)
  keys <- names(table)[columns + 1]
  call_to_sort <- parse(text = sprintf("table[order(%s)]", paste(keys, collapse = ", ")))
  for (type in c("integer", "double")) {
    for (key in keys) set(table, j = key, value = as(table[[key]], type))
    report(file, paste0("order, ", type, " keys"), "ms", function(seconds) 1e3 * seconds,
           function() eval(call_to_sort))
  }
}

panel <- function(file) {
  suppressPackageStartupMessages(library(collapse))
  shuffled <- fread(file, showProgress = FALSE)
  shuffled[, `:=`(g = as.integer(g), t = as.integer(t))]
  in_ms <- function(name, operation) report(file, name, "ms", function(seconds) 1e3 * seconds, operation)
  of_variables <- function(d, rows) {
    name <- function(text) paste0(text, ", ", rows, " rows")
    in_ms(name("flag"), function() flag(d$x, 1, d$g, d$t))
    in_ms(name("fdiff, order 2"), function() fdiff(d$x, 1, 2, d$g, d$t))
    in_ms(name("fmean"), function() fmean(d$x, d$g, TRA = "replace_fill"))
    in_ms(name("fmedian"), function() fmedian(d$x, d$g, TRA = "replace_fill"))
  }
  of_variables(shuffled, "shuffled")
  in_ms("join on dates", function() shuffled[.(g, t - 1L), on = .(g, t), x])
  in_ms("fsubset", function() fsubset(shuffled, x > 0))
  in_ms("roworder", function() roworder(shuffled, g, t))
  of_variables(shuffled[order(g, t)], "sorted")
}

text <- function(file) {
  table <- fread(file, header = FALSE, showProgress = FALSE)
  nanoseconds <- function(seconds) 1e9 * seconds / (nrow(table) * ncol(table))
  report(file, "fwrite", "ns", nanoseconds, function() fwrite(table, paste0(file, ".written"), showProgress = FALSE))
  report(file, "fread", "ns", nanoseconds, function() fread(file, header = FALSE, showProgress = FALSE))
}

arguments <- commandArgs(TRUE)
if (arguments[1] == "import") {
  for (file in arguments[-1]) import(file)
} else if (arguments[1] == "panel") {
  panel(arguments[2])
} else if (arguments[1] == "text") {
  for (file in arguments[-1]) text(file)
} else {
  sort_table(arguments[2], as.integer(arguments[-(1:2)]))
}
