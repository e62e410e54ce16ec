# Nanoseconds of processor time per coordinate update of tmvtnorm's compiled Gibbs sampler, for the laws of
# truncated_multivariate_bench.cpp. Prints lines of: name/dimension, ns.
suppressPackageStartupMessages(library(tmvtnorm))
for (n in c(2, 5, 10, 20)) {
  S <- 0.5^abs(outer(1:n, 1:n, "-"))
  draws <- 20000
  run <- function() rtmvnorm(draws, sigma = S, upper = rep(0, n), algorithm = "gibbs", burn.in.samples = 0)
  run()
  cat(sprintf("tmvtnorm gibbs/%d\t%.2f\n", n, sum(system.time(run())[1:2]) * 1e9 / (draws * n)))
}
