# Ranking and screening of data frames. The figures are those of the command
# velmora, to the last bit.

# A value as JSON: NULL, logicals, numbers, texts, vectors and named lists of them.
as_json <- function(value) {
  if (is.null(value)) return("null")
  if (is.list(value)) {
    members <- paste0(vapply(names(value), as_json, ""), ":", vapply(value, as_json, ""))
    return(paste0("{", paste(members, collapse = ","), "}"))
  }
  text <- if (is.logical(value)) {
    ifelse(value, "true", "false")
  } else if (is.numeric(value)) {
    format(value, digits = 17, trim = TRUE, scientific = FALSE)
  } else {
    escaped <- gsub("([\"\\\\])", "\\\\\\1", enc2utf8(as.character(value)))
    paste0("\"", gsub("\n", "\\n", gsub("\t", "\\t", escaped, fixed = TRUE), fixed = TRUE), "\"")
  }
  if (length(text) == 1) text else paste0("[", paste(text, collapse = ","), "]")
}

# Options by R's names as those of the command: p_criterion becomes p-criterion.
options_json <- function(options) {
  if (length(options) == 0) return("{}")
  if (is.null(names(options)) || any(names(options) == "")) stop("Options need names, as in best = 5.", call. = FALSE)
  names(options) <- gsub("_", "-", names(options), fixed = TRUE)
  as_json(options)
}

reading_options <- c("delimiter", "missing_text", "sheet", "range", "table", "sql_from")

# Data as the library takes them: a path unchanged, a data frame as a list of doubles and texts.
as_columns <- function(data) {
  if (is.character(data) && length(data) == 1) return(path.expand(data))
  if (!is.data.frame(data)) stop("data is a data frame or the path of a file.", call. = FALSE)
  column <- function(values, name) {
    if (is.factor(values) || is.character(values)) return(as.character(values))
    if (inherits(values, "Date")) return(format(values, "%Y-%m-%d"))
    if (inherits(values, "POSIXct")) return(format(values, "%Y-%m-%d %H:%M:%OS6", tz = "UTC"))
    if (is.logical(values) || is.numeric(values)) return(as.double(values))
    stop("Column \"", name, "\" holds ", class(values)[1], ", not numbers or texts.", call. = FALSE)
  }
  stats::setNames(Map(column, data, names(data)), names(data))
}

run_analysis <- function(analysis, data, options) {
  reading <- options[intersect(names(options), reading_options)]
  folder <- tempfile("velmora")
  on.exit(unlink(folder, recursive = TRUE))
  options <- options[setdiff(names(options), reading_options)]
  found <- .Call(C_run, analysis, as_columns(data), options_json(reading), options_json(options), folder)
  read_table <- function(...) utils::read.csv(..., check.names = FALSE, encoding = "UTF-8")
  bins_file <- file.path(folder, "screening_bins.csv")
  structure(
    list(
      ranking = read_table(text = found[[1]]),
      bins = if (file.exists(bins_file)) read_table(bins_file),
      saved_bins = found[[4]], json = found[[2]], notices = found[[3]]
    ),
    class = "velmora_result"
  )
}

#' Ranks the variables of a data frame by how strongly they are related to an outcome.
rank_predictors <- function(data, outcome, ...) {
  run_analysis("feature-selection", data, list(dependents = outcome, ...))
}

#' Bins every predictor and scores how well the bins predict a response.
screen_predictors <- function(data, response, good = NULL, bad = NULL, kind = NULL, ...) {
  if (is.null(kind)) {
    values <- if (is.data.frame(data)) data[[response]]
    kind <- if (!is.null(good) || !is.null(bad)) "binary"
    else if (is.numeric(values) || is.null(values)) "continuous"
    else "categorical"
  }
  kind <- match.arg(kind, c("binary", "continuous", "categorical"))
  asked <- list(response = response, good = good, bad = bad, ...)
  names(asked)[1] <- paste0(kind, "_response")
  run_analysis("screen", data, asked[!vapply(asked, is.null, NA)])
}

#' Codes a data frame with the bins of a screening.
apply_bins <- function(result, data) {
  json <- if (inherits(result, "velmora_result")) result$saved_bins else result
  if (!is.character(json)) stop("Only a screening has bins.", call. = FALSE)
  as.data.frame(.Call(C_apply, json, as_columns(data), "{}"), optional = TRUE, stringsAsFactors = FALSE)
}

print.velmora_result <- function(x, n = 10, ...) {
  print(utils::head(x$ranking, n), ...)
  if (nrow(x$ranking) > n) cat("... and", nrow(x$ranking) - n, "more\n")
  invisible(x)
}
