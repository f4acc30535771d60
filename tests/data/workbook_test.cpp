// Workbooks: .xlsx and .ods files written part by part.
#include <gmock/gmock.h>
#include <minizip/zip.h>

#include "tests/data/data_test_support.h"
#include "tests/support/paths.h"

namespace velmora {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

using Parts = std::vector<std::pair<std::string, std::string>>;

void WriteZip(const std::string& path, const Parts& parts) {
  zipFile file = zipOpen64(path.c_str(), APPEND_STATUS_CREATE);
  ASSERT_NE(file, nullptr);
  for (const auto& [name, bytes] : parts) {
    zip_fileinfo info{};
    zipOpenNewFileInZip(file, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED, 6);
    zipWriteInFileInZip(file, bytes.data(), static_cast<unsigned>(bytes.size()));
    zipCloseFileInZip(file);
  }
  zipClose(file, nullptr);
}

struct Book {
  std::string rows;             // of the sheet "Data"
  std::string properties = "";  // of the workbook
  std::string others = "";      // more sheets, before it
  std::string texts = "";       // <si> elements
  std::string folder = "xl/";   // of the workbook's parts
};

// Styles 0 to 6: General, a day (built-in), a moment (built-in), three formats of its own, and one
// whose letters are quoted.
constexpr char kStyles[] =
    "<styleSheet><numFmts><numFmt numFmtId=\"164\" formatCode=\"dd/mm/yyyy;@\"/>"
    "<numFmt numFmtId=\"165\" formatCode=\"[$-409]d\\-mmm\\-yy\\ h:mm\\ AM/PM\"/>"
    "<numFmt numFmtId=\"166\" formatCode=\"[h]:mm:ss\"/>"
    "<numFmt numFmtId=\"167\" formatCode=\"0.0&quot; days&quot;\"/></numFmts>"
    "<cellStyleXfs><xf numFmtId=\"14\"/></cellStyleXfs>"
    "<cellXfs><xf numFmtId=\"0\"/><xf numFmtId=\"14\"/><xf numFmtId=\"22\"/><xf numFmtId=\"164\"/>"
    "<xf numFmtId=\"165\"/><xf numFmtId=\"166\"/><xf numFmtId=\"167\"/></cellXfs></styleSheet>";

void WriteBook(const std::string& path, const Book& book) {
  const std::string type = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/";
  WriteZip(
      path,
      {{"_rels/.rels", "<Relationships><Relationship Id=\"rId1\" Type=\"" + type +
                           "officeDocument\" Target=\"" + book.folder + "workbook.xml\"/></Relationships>"},
       {book.folder + "workbook.xml",
        "<workbook xmlns:r=\"r\">" + book.properties + "<sheets>" + book.others +
            "<sheet name=\"Data\" sheetId=\"7\" r:id=\"rId1\"/></sheets></workbook>"},
       {book.folder + "_rels/workbook.xml.rels",
        "<Relationships><Relationship Id=\"rId1\" Type=\"" + type + "worksheet\" Target=\"/" + book.folder +
            "worksheets/sheet1.xml\"/><Relationship Id=\"rId2\" Type=\"" + type +
            "worksheet\" Target=\"worksheets/sheet2.xml\"/><Relationship Id=\"rId3\" Type=\"" + type +
            "styles\" Target=\"styles.xml\"/></Relationships>"},
       {book.folder + "styles.xml", kStyles},
       {book.folder + "sharedStrings.xml", "<sst>" + book.texts + "</sst>"},
       {book.folder + "worksheets/sheet1.xml",
        "<worksheet><sheetData>" + book.rows + "</sheetData></worksheet>"},
       {book.folder + "worksheets/sheet2.xml",
        "<worksheet><sheetData><row><c t=\"inlineStr\"><is><t>other</t></is></c></row><row><c><v>5</v></c>"
        "</row></sheetData></worksheet>"}});
}

// Cells of column A after a name, each an element c.
std::string ColumnOf(const std::vector<std::string>& cells) {
  std::string rows = "<row r=\"1\"><c r=\"A1\" t=\"inlineStr\"><is><t>x</t></is></c></row>";
  for (std::size_t i = 0; i < cells.size(); ++i)
    rows += "<row r=\"" + std::to_string(i + 2) + "\">" + cells[i] + "</row>";
  return rows;
}

class WorkbookTest : public DataTest {
 protected:
  Table Read(const Book& book, const TablePart& part = {}) {
    WriteBook(Path("book.xlsx"), book);
    report_ = {};
    return ReadPart(Path("book.xlsx"), part, &report_);
  }

  ReadReport report_;
};

TEST_F(WorkbookTest, CellsOfEveryType) {
  const struct {
    const char* what;
    std::vector<std::string> cells;
    const char* expected;
  } rows[] = {
      {"numbers", {"<c><v>1.5</v></c>", "<c t=\"n\"><v>-2E3</v></c>"}, "x: 1.5 -2000"},
      {"shared texts", {"<c t=\"s\"><v>1</v></c>", "<c t=\"s\"><v>0</v></c>"}, "x: 1[bold part] 2[own]"},
      {"a formula's text and its number",
       {"<c t=\"str\"><f>A1</f><v>00123</v></c>", "<c t=\"str\"><v>7</v></c>"},
       "x: 1[00123] 2[7]"},
      {"booleans", {"<c t=\"b\"><v>1</v></c>", "<c t=\"b\"><v>0</v></c>"}, "x: 1[true] 0[false]"},
      {"an error is missing", {"<c t=\"e\"><v>#N/A</v></c>", "<c><v>3</v></c>"}, "x: . 3"},
      {"texts for missing among numbers", {"<c t=\"str\"><v>NA</v></c>", "<c><v>3</v></c>"}, "x: . 3"},
      {"one real text makes it text",
       {"<c t=\"str\"><v>low</v></c>", "<c><v>0.1</v></c>"},
       "x: 2[low] 1[0.1]"},
      {"days", {"<c s=\"1\"><v>43831</v></c>", "<c s=\"3\"><v>25570</v></c>"}, "x: 18262 1"},
      {"days before March 1900", {"<c s=\"1\"><v>1</v></c>", "<c s=\"1\"><v>61</v></c>"}, "x: -25567 -25508"},
      {"points in time",
       {"<c s=\"2\"><v>25569.5</v></c>", "<c s=\"4\"><v>25569.000011574073</v></c>"},
       "x: 43200 1"},
      {"days of ISO 8601",
       {"<c t=\"d\"><v>1970-01-03</v></c>", "<c t=\"d\"><v>1970-01-01T00:00:09</v></c>"},
       "x: 172800 9"},
      {"a duration and a quoted unit are numbers",
       {"<c s=\"5\"><v>1.5</v></c>", "<c s=\"6\"><v>2</v></c>"},
       "x: 1.5 2"},
      {"dates and numbers are texts",
       {"<c s=\"1\"><v>25570</v></c>", "<c><v>4</v></c>"},
       "x: 1[1970-01-02] 2[4]"},
      {"an escaped character",
       {"<c t=\"str\"><v>a_x0041_b</v></c>", "<c t=\"str\"><v>_x</v></c>"},
       "x: 2[aAb] 1[_x]"},
      {"blanks around texts", {"<c t=\"str\"><v>  </v></c>", "<c t=\"str\"><v> a </v></c>"}, "x: . 1[a]"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const Table table = Read({.rows = ColumnOf(row.cells),
                              .texts = "<si><t>own</t></si><si><r><t>bold </t></r><r><t>part</t></r>"
                                       "<rPh><t>reading</t></rPh></si>"});
    EXPECT_EQ(Show(table), row.expected);
  }
  const Table days = Read({.rows = ColumnOf({"<c s=\"1\"><v>1</v></c>"}),
                           .properties = "<workbookPr date1904=\"1\"/>",
                           .folder = "somewhere/"});
  EXPECT_EQ(Show(days), "x: -24106");
  EXPECT_EQ(days.columns[0].dateUnit, DateUnit::kDays);
}

TEST_F(WorkbookTest, NamesOutsideTheCodePage) {
  WriteBook(Path("Größe 数据.xlsx"), {.rows = ColumnOf({"<c><v>1.25</v></c>"})});
  EXPECT_EQ(ReadTable(Path("Größe 数据.xlsx")).caseCount, 1);
}

TEST_F(WorkbookTest, FormulasWithoutValueAndErrorsAreReported) {
  Read({.rows = ColumnOf({"<c><f>1+1</f></c>", "<c t=\"e\"><v>#DIV/0!</v></c>", "<c><v>2</v></c>"})});
  EXPECT_THAT(report_.warnings, ElementsAre(HasSubstr("1 formulas"), HasSubstr("#N/A")));
}

TEST_F(WorkbookTest, RangesAndEmptyRows) {
  // A title in A1, a table in B3:D6 with an empty row and a column without a name, a note in B9.
  const std::string rows =
      "<row r=\"1\"><c r=\"A1\" t=\"str\"><v>Loans</v></c></row>"
      "<row r=\"3\"><c r=\"B3\" t=\"str\"><v>a</v></c><c r=\"D3\" t=\"str\"><v>d</v></c></row>"
      "<row r=\"4\"><c r=\"B4\"><v>1</v></c><c r=\"C4\"><v>2</v></c><c r=\"D4\"><v>3</v></c></row>"
      "<row r=\"6\"><c r=\"B6\"><v>4</v></c><c r=\"D6\"><v>6</v></c></row>"
      "<row r=\"9\"><c r=\"B9\" t=\"str\"><v>source: survey</v></c></row>";
  const struct {
    const char* range;
    const char* expected;
  } ranges[] = {
      {"B3:D6", "a: 1 4 | Var2: 2 . | d: 3 6"},
      {"$B$3:$D$6", "a: 1 4 | Var2: 2 . | d: 3 6"},
      {"D3", "d: 3 . 6"},
      {"d:D", "d: 3 . 6"},
      {"3:4", "a: 1 | Var2: 2 | d: 3"},
  };
  for (const auto& row : ranges) {
    SCOPED_TRACE(row.range);
    EXPECT_EQ(Show(Read({.rows = rows}, SheetPart("", row.range))), row.expected);
  }
  for (const char* range : {"B3:", "3B", "B0", "A1:XFE9", "F9:B3", "A1:B2:C3", "sheet"})
    EXPECT_THAT(ErrorOf([&] { Read({.rows = rows}, SheetPart("", range)); }), HasSubstr(range)) << range;
  EXPECT_THAT(ErrorOf([&] { Read({.rows = rows}, SheetPart("", "M3:N9")); }), HasSubstr("has no cells"));
}

TEST_F(WorkbookTest, Sheets) {
  const std::string rows = ColumnOf({"<c><v>1</v></c>"});
  const std::string hidden = "<sheet name=\"2\" sheetId=\"1\" state=\"hidden\" r:id=\"rId2\"/>";
  EXPECT_EQ(Show(Read({.rows = rows, .others = hidden})), "x: 1");
  EXPECT_THAT(report_.warnings, ElementsAre());
  EXPECT_EQ(Show(Read({.rows = rows, .others = "<sheet name=\"Cover\" r:id=\"rId2\"/>"})), "other: 5");
  EXPECT_THAT(report_.warnings, Contains(HasSubstr("(Cover, Data), and --sheet names another")));
  EXPECT_THAT(ErrorOf([&] { Read({.rows = ColumnOf({}), .others = ""}); }),
              HasSubstr("has names but no cases"));
  // A name before a number.
  EXPECT_EQ(Show(Read({.rows = rows, .others = hidden}, SheetPart("2"))), "other: 5");
  EXPECT_EQ(Show(Read({.rows = rows, .others = hidden}, SheetPart("1"))), "other: 5");
  EXPECT_EQ(Show(Read({.rows = rows, .others = hidden}, SheetPart("Data"))), "x: 1");
  EXPECT_EQ(ErrorOf([&] { Read({.rows = rows, .others = hidden}, SheetPart("Dta")); }),
            "There is no sheet \"Dta\" in " + Path("book.xlsx") + "; it has 2, Data.");
}

TEST_F(WorkbookTest, DamagedWorkbooks) {
  WriteBook(Path("whole.xlsx"), {.rows = ColumnOf(std::vector<std::string>(500, "<c><v>1.25</v></c>"))});
  const std::string whole = Slurp(Path("whole.xlsx"));
  // Cut short, or with bytes changed: a sentence or the same table, never a crash.
  for (std::size_t i = 0; i < whole.size(); i += 97) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x55);
    WriteFile("damaged.xlsx", damaged);
    ErrorOf([&] { ReadTable(Path("damaged.xlsx")); });
  }
  WriteFile("damaged.xlsx", whole.substr(0, whole.size() / 2));
  EXPECT_THAT(ErrorOf([&] { ReadTable(Path("damaged.xlsx")); }), HasSubstr("it is not a workbook"));
  EXPECT_THAT(ErrorOf([&] { Read({.rows = "<row><c><v>1</c></row>"}); }),
              HasSubstr("sheet1.xml is missing or damaged"));
  EXPECT_THAT(ErrorOf([&] { Read({.rows = "<row r=\"99999999\"><c t=\"str\"><v>1</v></c></row>"}); }),
              HasSubstr("beyond the last row"));
  EXPECT_THAT(ErrorOf([&] { ReadTable(WriteFile("old.xls", "x")); }),
              HasSubstr("save the workbook as .xlsx"));
  EXPECT_THAT(ErrorOf([&] { ReadPart(WriteFile("a.csv", "x\n1\n"), SheetPart("1")); }),
              HasSubstr("--sheet is for workbooks"));
}

// Written by xlwt 1.3: cells begin at B2, and there is a second sheet.
TEST_F(WorkbookTest, WorkbooksBefore2007) {
  const std::string path = SourceDir() + "/tests/data/samples/old.xls";
  ReadReport report;
  const Table table = ReadTable(path, {}, &report);
  EXPECT_EQ(
      Show(table),
      "amount: 1250.5 . -3 | age: 31 45 . | town: 1[Köln] 2[Łódź] . | paid: 1 0 1 | opened: 19782 10956 . | "
      "seen: 1.70921e+09 . 1 | mixed: 1 . 2.5");
  EXPECT_EQ(table.columns[4].dateUnit, DateUnit::kDays);
  EXPECT_EQ(table.columns[5].dateUnit, DateUnit::kSeconds);
  EXPECT_THAT(report.warnings, Contains(HasSubstr("Texts that formulas of " + path)));
  EXPECT_EQ(Show(ReadPart(path, SheetPart("Other"))), "x: 7");
  // A name outside the code page of Windows.
  EXPECT_EQ(Show(ReadPart(WriteFile("Größe 数据.xls", Slurp(path)), SheetPart("Other"))), "x: 7");
  EXPECT_EQ(Show(ReadPart(path, SheetPart("Loans", "C2:C4"))), "age: 31 45");
  // Cut short, or with bytes changed: a sentence or a table.
  const std::string whole = Slurp(path);
  for (std::size_t i = 0; i < whole.size(); i += 197) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x55);
    WriteFile("damaged.xls", damaged);
    ErrorOf([&] { ReadTable(Path("damaged.xls")); });
  }
  WriteFile("damaged.xls", whole.substr(0, whole.size() / 2));
  ErrorOf([&] { ReadTable(Path("damaged.xls")); });
}

TEST_F(WorkbookTest, OpenDocument) {
  const std::string cells =
      "<table:table-row table:number-rows-repeated=\"2\"><table:table-cell/></table:table-row>"
      "<table:table-row><table:table-cell/><table:table-cell office:value-type=\"string\"><text:p>x</text:p>"
      "</table:table-cell><table:table-cell office:value-type=\"string\"><office:annotation><text:p>a note"
      "</text:p></office:annotation><text:p>y</text:p></table:table-cell><table:table-cell "
      "office:value-type=\"string\"><text:p>z</text:p></table:table-cell></table:table-row>"
      "<table:table-row table:number-rows-repeated=\"2\"><table:table-cell/><table:table-cell "
      "office:value-type=\"float\" "
      "office:value=\"1.5\"><text:p>1,5</text:p></table:table-cell><table:table-cell "
      "office:value-type=\"date\" office:date-value=\"1970-01-03\"/><table:table-cell "
      "office:value-type=\"string\"><text:p>two</text:p><text:p>lines</text:p></table:table-cell></"
      "table:table-row>"
      "<table:table-row><table:table-cell/><table:table-cell table:number-columns-repeated=\"2\" "
      "office:value-type=\"percentage\" office:value=\"0\"/></table:table-row>"
      "<table:table-row table:number-rows-repeated=\"1048000\"><table:table-cell "
      "table:number-columns-repeated=\"16384\"/></table:table-row>";
  WriteZip(Path("a.ods"),
           {{"content.xml",
             "<office:document-content><office:body><office:spreadsheet><table:table table:name=\"First\">"
             "</table:table><table:table table:name=\"Second\">" +
                 cells + "</table:table><table:table table:name=\"Third\">" + cells +
                 "</table:table></office:spreadsheet></office:body></office:document-content>"}});
  EXPECT_EQ(Show(ReadPart(Path("a.ods"), SheetPart("Second", "B3:B9"))), "x: 1.5 1.5 0");
  EXPECT_EQ(Show(ReadPart(Path("a.ods"), SheetPart("3", "1:5"))),
            "x: 1.5 1.5 | y: 2 2 | z: 1[two\nlines] 1[two\nlines]");
  EXPECT_THAT(ErrorOf([&] { ReadTable(Path("a.ods")); }), HasSubstr("has no cells"));
}

}  // namespace
}  // namespace velmora
