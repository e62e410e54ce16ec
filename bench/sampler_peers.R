# Posterior samplers of R on one thread, in processor time, and the data that samplers_bench.cpp reads.
#
#   Rscript --vanilla bench/sampler_peers.R data FOLDER   writes NAME.raw: n x k regressors and the response, by columns
#   Rscript --vanilla bench/sampler_peers.R run FOLDER    prints lines of: name, peer, draws per second of a whole run

arguments <- commandArgs(TRUE)
folder <- arguments[2]
file_of <- function(name) file.path(folder, paste0(name, ".raw"))
sizes <- list(linear_n1000_k5 = c(1000, 5), linear_n100000_k20 = c(1e5, 20),
              probit_n1000_k5 = c(1000, 5), probit_n20000_k10 = c(20000, 10))
mnp <- list(name = "mnp_n500_4", n = 500, alternatives = 4)

make_data <- function() {
  set.seed(1)
  for (name in names(sizes)) {
    n <- sizes[[name]][1]
    k <- sizes[[name]][2]
    X <- cbind(1, matrix(rnorm(n * (k - 1)), n))
    y <- drop(X %*% (rep(c(0.5, -0.4), length.out = k) / (1 + (0:(k - 1)) %/% 4))) + rnorm(n)
    if (startsWith(name, "probit")) y <- as.numeric(y > 0)
    writeBin(c(X, y), file_of(name))
  }
  # Utilities relative to the last alternative, with constants and the price of each; columns: prices, choice.
  J <- mnp$alternatives - 1
  price <- matrix(rnorm(mnp$n * (J + 1)), mnp$n)
  U <- (price[, 1:J] - price[, J + 1]) + rep(c(0.3, -0.2, 0.1), each = mnp$n) +
    matrix(rnorm(mnp$n * J), mnp$n) %*% chol(0.5 + 0.5 * diag(J))
  choice <- apply(U, 1, function(u) if (max(u) < 0) J + 1 else which.max(u))
  writeBin(c(price, as.numeric(choice)), file_of(mnp$name))
}

read <- function(name, n, columns) matrix(readBin(file_of(name), "double", n * columns), n)
quiet <- function(x) {
  sink(nullfile())
  on.exit(sink())
  force(x)
}
report <- function(name, peer, draws, run) {
  quiet(run(10))
  seconds <- sum(system.time(quiet(run(draws)))[1:2])
  cat(sprintf("%s\t%s\t%.6g\n", name, peer, draws / seconds))
}

run_peers <- function() {
  suppressPackageStartupMessages({
    library(MCMCpack)
    library(bayesm)
    library(MNP)
  })
  draws <- c(50000, 1000, 10000, 400)
  for (i in seq_along(sizes)) {
    name <- names(sizes)[i]
    k <- sizes[[i]][2]
    data <- read(name, sizes[[i]][1], k + 1)
    X <- data[, 1:k]
    y <- data[, k + 1]
    frame <- data.frame(y, X[, -1])
    if (startsWith(name, "linear")) {
      report(name, "bayesm runiregGibbs", draws[i], function(R)
        runiregGibbs(list(y = y, X = X), Mcmc = list(R = R, nprint = 0)))
      report(name, "MCMCpack MCMCregress", draws[i], function(R) MCMCregress(y ~ ., frame, burnin = 0, mcmc = R))
    } else {
      report(name, "MCMCpack MCMCprobit", draws[i], function(R) MCMCprobit(y ~ ., frame, burnin = 0, mcmc = R))
    }
  }
  data <- read(mnp$name, mnp$n, mnp$alternatives + 1)
  frame <- data.frame(y = factor(data[, 5]), p1 = data[, 1], p2 = data[, 2], p3 = data[, 3], p4 = data[, 4])
  report(mnp$name, "MNP mnp", 3000, function(R)
    mnp(y ~ 1, data = frame, base = "4", choiceX = list("1" = p1, "2" = p2, "3" = p3, "4" = p4), cXnames = "price",
        n.draws = R, burnin = 0, thin = 0, verbose = FALSE))
}

if (arguments[1] == "data") make_data() else run_peers()
