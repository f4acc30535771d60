#include "workbench/windows/dialog_help.h"

#include <filesystem>

#include "workbench/data/atomic_file.h"
#include "workbench/windows/results_page.h"

namespace velmora {

namespace {

constexpr char kPage[] = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><title>Velmora: help on the dialogs</title>
<meta name="color-scheme" content="light dark">
<style>body{font:16px/1.5 "Segoe UI",sans-serif;max-width:46rem;margin:2rem auto;padding:0 1rem}
h1{font-size:1.6rem}h2{font-size:1.15rem;margin-top:2rem}dt{font-weight:600;margin-top:.6rem}code{font-size:.95em}
</style></head><body>
<h1>Help on the dialogs</h1>
<h2>The way through an analysis</h2>
<ol>
<li>Open a data file in the start window, or drop one on it.</li>
<li>Choose <b>Feature selection</b> to rank the predictors of one or more dependent variables, or
<b>Predictor screening</b> to cut each predictor into bins and score it against a response.</li>
<li>Choose the variables, change the options if you like, and press <b>OK</b>.</li>
<li>Each button of the results dialog adds its output to one page in your browser. The page loads itself again
when you come back to it; <b>Show results</b> in the start window opens it once more.</li>
<li><b>Cancel</b> or the Esc key leads from the results back to your choices, and from there to the start
window.</li>
</ol>
<h2>Variables</h2>
<dl>
<dt>Lists</dt><dd>Click variables in the lists (Shift for a range, Ctrl for single ones), or write them into the
field below a list: numbers, ranges and names, such as <code>2-5 8 "monthly income"</code>.</dd>
<dt>Find</dt><dd>The lists show the variables whose names contain what you type here. Variables that are chosen
already stay chosen.</dd>
<dt>Show appropriate variables only</dt><dd>Offers categorical variables for categorical lists and continuous ones
for continuous lists.</dd>
</dl>
<h2>Codes</h2>
<dl>
<dt>Factor codes</dt><dd>The levels of the categorical predictors that are used. <code>*</code> takes all levels
of a variable; <b>All of all</b> takes those of every variable. Labels with blanks are written in quotation
marks.</dd>
<dt>Good code, bad code</dt><dd>The two levels of a binary response. Open the list of the field to choose one of
the values that the response has.</dd>
</dl>
<h2>Cases and weights</h2>
<dl>
<dt>Case selection</dt><dd>Expressions such as <code>age &gt;= 18 and housing = "own"</code>. Cases are used for
which the first is true and the second is not.</dd>
<dt>Case weights</dt><dd>A numeric variable whose values weight the cases.</dd>
</dl>
<h2>Saving</h2>
<p>Bundles and coded variables that a results dialog saves become part of the open data. <b>Save data as</b> in
the start window writes the data with them to a file. The program asks before it closes or opens other data
while such changes are not saved.</p>
<h2>Keys</h2>
<p>Alt and an underlined letter press a button; Ctrl+Tab goes to the next page of a dialog; Esc is Cancel; F1 is
this page.</p>
</body></html>
)";

}  // namespace

void ShowHelpPage() {
  const std::filesystem::path file = std::filesystem::temp_directory_path() / "velmora" / "help.html";
  WriteFileAtomically(file.string(), kPage);
  OpenInItsProgram(file);
}

}  // namespace velmora
