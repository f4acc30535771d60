// Event scripts: the bin that they show for a place of a graph, and the messages for scripts at
// fault.
#include <gtest/gtest.h>

#include <functional>

#include "workbench/data/errors.h"
#include "workbench/language/event_script.h"

namespace velmora::testing {
namespace {

std::string Frame(const std::string& test, const std::string& blocks) {
  return "\r\nPrivate Sub Document_OnToolTipDisplay(ByVal scale As Boolean, ByRef Coords() As Double, ByRef "
         "selectedObject As Object, ByVal numPlotPoints As Long, ByRef PlotPoints() As Long, ByRef Text As "
         "String)\r\nDim x As Double\r\n" +
         test + "\r\nIf(Ubound(Coords)<1) Then\r\nExit Sub\r\nEnd If\r\nx=Coords(1)\r\n" + blocks +
         "\r\nEnd If\r\nEnd Sub\r\n";
}

const std::string kLine = "If(TypeName(selectedObject)=\"Plot2DSimple\") Then";
const std::string kBoxes =
    "If(TypeName(selectedObject)=\"Plot2DSimple\" Or TypeName(selectedObject)=\"PlotBoxWhisker\") Then";

std::string RateBlock(const std::string& lower, const std::string& upper, const std::string& label) {
  return "\r\nIf(x>" + lower + " And x<=" + upper + ") Then \r\n\t Text=\" Bin : " + label +
         " \" \r\n\t Text=Text & vbCrLf \r\n\t Text=Text & \" Default rate:12.5\" \r\n Text=Text & vbCrLf & "
         "\"Percent of obs.:50 \" \r\n  End If";
}

TEST(EventScript, TellsTheBinOfAPlace) {
  const std::string tail = " \r\n Default rate:12.5\r\nPercent of obs.:50 ";
  const std::string points =
      Frame(kLine, RateBlock("-1.500000000000000e+00", "2.500000000000000e+00", "[-1.5, 2.5]") +
                       RateBlock("2.500000000000000e+00", "1.000000000000000e+02", "(2.5, 100]"));
  const std::string commas =
      Frame(kLine, RateBlock("-1,500000000000000e+00", "2,500000000000000e+00", "[-1,5; 2,5]") +
                       RateBlock("2,500000000000000e+00", "1,000000000000000e+02", "(2,5; 100]"));
  struct Row {
    const char* name;
    const std::string& script;
    const char* separator;
    const char* type;
    std::vector<double> coordinates;
    std::string expected;
  };
  const Row rows[] = {
      {"inside the first bin", points, ".", "Plot2DSimple", {0, 7}, " Bin : [-1.5, 2.5]" + tail},
      {"on a bound", points, ".", "Plot2DSimple", {2.5, 7}, " Bin : [-1.5, 2.5]" + tail},
      {"behind a bound", points, ".", "Plot2DSimple", {2.5000001, 7}, " Bin : (2.5, 100]" + tail},
      {"the end of the last bin", points, ".", "Plot2DSimple", {100, 7}, " Bin : (2.5, 100]" + tail},
      {"the left end of the first bin", points, ".", "Plot2DSimple", {-1.5, 7}, ""},
      {"beyond", points, ".", "Plot2DSimple", {100.1, 7}, ""},
      {"another object", points, ".", "PlotBoxWhisker", {0, 7}, ""},
      {"no place", points, ".", "Plot2DSimple", {}, ""},
      {"decimal commas", commas, ",", "Plot2DSimple", {2.5}, " Bin : [-1,5; 2,5]" + tail},
      {"decimal commas, next bin", commas, ",", "Plot2DSimple", {2.6}, " Bin : (2,5; 100]" + tail},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(EventScript(row.script, row.separator).ToolTip(row.type, row.coordinates), row.expected)
        << row.name;
  }
}

TEST(EventScript, TellsTheBoxOfAPlace) {
  const auto block = [](int bin, const std::string& label) {
    return "\r\nIf(Abs(x-" + std::to_string(bin) + "))<0.1 Then \r\n\t Text=\" " + label +
           " \" \r\n\t Text=Text & vbCrLf \r\n\t Text=Text & \" Mean: \" & 1.25 \r\n Text=Text & vbCrLf & "
           "\"N:\" & CStr(17) \r\n End If";
  };
  const EventScript script(Frame(kBoxes, block(1, "say \"\"yes\"\", M\xC3\xBCnster") + block(2, "no")), ",");
  const std::string tail = " \r\n Mean: 1,25\r\nN:17";
  for (const char* type : {"Plot2DSimple", "PlotBoxWhisker"}) {
    EXPECT_EQ(script.ToolTip(type, {{1.05}}), " say \"yes\", M\xC3\xBCnster" + tail);
    EXPECT_EQ(script.ToolTip(type, {{1.95}}), " no" + tail);
    EXPECT_EQ(script.ToolTip(type, {{1.5}}), "");
  }
}

// The rest of the language: every row makes Text from x = 5.
TEST(EventScript, RunsTheLanguage) {
  struct Row {
    const char* body;
    const char* expected;
  };
  const Row rows[] = {
      {"Text = 1 + 2 * 3 & \"|\" & (1 + 2) * 3 & \"|\" & 7 / 2 & \"|\" & -x & \"|\" & 2 - 3 - 4",
       "7|9|3.5|-5|-5"},
      {"if X>=5 AND not x>5 then TEXT=\"a\" else text=\"b\"", "a"},
      {"If x<5 Then\nText=\"a\"\nElseIf x=5 Then\nText=\"b\"\nElse\nText=\"c\"\nEnd If", "b"},
      {"If x<>5\nText=\"a\"\nElse\nText=\"c\"\nEndIf ' remark", "c"},
      {"Text=\"a\" : Exit Sub : Text=\"b\"", "a"},
      {"Dim y As Double, z\ny = \"5\" + 1 : Rem nothing\nText = y & z & (\"a\" < \"b\")", "6True"},
      {"Text = TypeName(scale) & UBound(Coords) & TypeName(Coords(1))", "Boolean2Double"},
      {"If x = 0 And 1 / x > 0 Then Text = \"no\" Else Text = \"yes\"", "yes"},
      {"Text = .5 & 1E3 & 1.e-2", "0.510000.01"},
  };
  for (const Row& row : rows) {
    const std::string script =
        "Sub Document_OnToolTipDisplay(scale, Coords(), o, n, p(), Text)\nx=Coords(1)\n" +
        std::string(row.body) + "\nEnd Sub";
    EXPECT_EQ(EventScript(script, ".").ToolTip("", {{5, 1}}), row.expected) << row.body;
  }
}

TEST(EventScript, NamesTheLineOfAFault) {
  const auto nested = [](const char* open, int times) {
    std::string text;
    for (int i = 0; i < times; ++i) text += open;
    return text;
  };
  struct Row {
    std::string body;
    std::string expected;
  };
  const Row rows[] = {
      {"Text=\"a", "line 3: a quotation mark is opened and not closed on its line."},
      {"If x>1 Then\nText=\"a\"", "line 3: End If is missing."},
      {"If x>1 Text=\"a\"", "line 3: Then is missing before \"Text\"."},
      {"\nGoTo 5", "line 4: the statement that begins with \"GoTo\" is unknown."},
      {"Text=Lenght", "line 3: there is no variable lenght."},
      {"txet=1 : Text=tex", "line 3: there is no variable tex; did you mean text?"},
      {"Text=Sin(1)", "line 3: there is no function sin."},
      {"Text=Coords(3)", "line 3: coords has no element 3."},
      {"Text=1*\"a\"", "line 3: a number is needed here, not the text \"a\"."},
      {"Text=1/0", "line 3: a division by zero."},
      {"Text=1 2", "line 3: the statement should end before \"2\"."},
      {"Text=1,5", "line 3: the statement should end before \",\"."},
      {"Text=12abc", "line 3: the number 12 runs into what follows it."},
      {"Text=1e999", "line 3: the number 1e999 is out of range."},
      {"Text=(1", "line 3: a closing parenthesis is expected before the end of the line."},
      {"Text=#", "line 3: the character \"#\" has no meaning here."},
      {"Text=5", "line 1: the value to show is not a text."},
      {"Text=" + nested("(", 1000), "line 3: this is nested too deeply."},
      {"Text=" + nested("-", 1000) + "1", "line 3: this is nested too deeply."},
      {nested("If 1 Then\n", 1000), "line 202: this is nested too deeply."},
      {"Text=" + nested("1+1-", 5000) + "1", "line 3: the value is too long."},
  };
  for (const Row& row : rows) {
    const std::string script =
        "Sub Document_OnToolTipDisplay(scale, Coords(), o, n, p(), Text)\r\nx=Coords(1)\r\n" + row.body +
        "\r\nEnd Sub";
    try {
      EventScript(script, ".", "a.bas").ToolTip("", {{5, 1}});
      ADD_FAILURE() << row.body << " ran";
    } catch (const DataError& error) {
      EXPECT_EQ(error.what(), "a.bas, " + row.expected) << row.body;
    }
  }
  EXPECT_THROW(EventScript("", ".").ToolTip("", {}), DataError);
}

}  // namespace
}  // namespace velmora::testing
