# The figures of a data frame are those of its file, bins travel, and errors name the fault.
library(velmora)
set.seed(1)
n <- 2000
data <- data.frame(
  x = rnorm(n), level = sample(c("low", "middle", "h\u00e4ufig"), n, TRUE), day = as.Date("2020-01-01") + seq_len(n),
  yes = rep(c(TRUE, FALSE, NA, TRUE), n / 4), group = factor(sample(letters[1:4], n, TRUE))
)
data$x[7] <- NA
data$y <- ifelse(is.na(data$x), 0, data$x) + (data$level == "low") + rnorm(n)
data$good <- ifelse(data$y > 0.5, "g", "b")

ranked <- rank_predictors(data, "y", predictors = c("x", "level", "yes", "group"))
stopifnot(identical(ranked$ranking$predictor[1:2], c("x", "level")), nrow(ranked$ranking) == 4)
file <- tempfile(fileext = ".csv")
utils::write.csv(transform(data, yes = as.integer(yes)), file, row.names = FALSE, na = "", fileEncoding = "UTF-8")
of_file <- rank_predictors(file, "y", predictors = c("x", "level", "yes", "group"))
stopifnot(isTRUE(all.equal(ranked$ranking, of_file$ranking, tolerance = 1e-13)))

screened <- screen_predictors(data, "good", good = "g", bad = "b", predictors = c("x", "level"))
stopifnot(all(c("x", "level") %in% screened$bins$predictor))
coded <- apply_bins(screened, data)
stopifnot(nrow(coded) == n, "good_x_WOE" %in% names(coded), is.numeric(coded$good_x_WOE))
# A bin's weight of evidence is the logarithm of the ratio of shares.
share <- function(kind) tapply(data$good == kind, coded$good_level_Coded, sum) / sum(data$good == kind)
expected <- 100 * log(share("g") / share("b"))
got <- tapply(coded$good_level_WOE, coded$good_level_Coded, unique)
stopifnot(isTRUE(all.equal(c(expected), c(got), tolerance = 1e-9)))

message_of <- function(call) tryCatch({ call; "none" }, error = conditionMessage)
stopifnot(
  grepl("did you mean \"level\"", message_of(rank_predictors(data, "levl"))),
  grepl("--bst", message_of(rank_predictors(data, "y", bst = 3))),
  grepl("Column \"odd\" holds", message_of(rank_predictors(cbind(data, odd = I(as.list(seq_len(n)))), "y"))),
  grepl("nowhere.csv", message_of(rank_predictors("nowhere.csv", "y"))),
  grepl("Only a screening", message_of(apply_bins(ranked, data)))
)
