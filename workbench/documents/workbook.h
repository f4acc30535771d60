// The results of a run: its documents in order of creation, the groups they belong to (one per
// dependent or response), the notices, and the facts of the run. Writers read it; nothing here
// formats anything.
//
//   Workbook workbook;
//   workbook.title = "Feature selection: credit.csv";
//   const int group = workbook.GroupOfSubject(4, "risk", "categorical dependent, Cramer's V");
//   workbook.Add(sheet, group);
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "workbench/documents/graph.h"
#include "workbench/documents/sheet.h"
#include "workbench/documents/short_names.h"
#include "workbench/documents/text_document.h"

namespace velmora {

struct Fact {
  std::string key;
  std::string value;
  std::optional<double> number = {};  // where the value is one, for spreadsheets
};
Fact CountFact(std::string key, std::int64_t count);

// Documents of one dependent or response. Group 0 always exists and holds what belongs to the whole
// run.
struct DocumentGroup {
  int id = 0;
  int subject = 0;          // variable number of the dependent or response
  std::string name;         // of the dependent or response
  std::string description;  // such as "continuous dependent, F statistic"; may be empty
  std::vector<Fact> facts;
};

struct Notice {
  std::string text;
  int group = 0;
};

struct Document {
  int id = 0;  // from 1, in order of creation, never reused
  int group = 0;
  std::string name;  // in lists of the documents; empty: the group's name or the title
  std::variant<std::shared_ptr<Sheet>, std::shared_ptr<Graph>, std::shared_ptr<TextDocument>> body;

  const Sheet* AsSheet() const;
  const Graph* AsGraph() const;
  const TextDocument* AsText() const;
  std::string Title() const;  // in full
};

class Workbook {
 public:
  Workbook();

  std::string title;            // of the run, shown as the page's heading
  std::vector<Fact> facts;      // data file, cases, settings...
  std::vector<Notice> notices;  // in the order they came
  ShortNames shortNames;        // what the short names of the documents mean

  // Replaces the value of a key that is there.
  void SetFact(std::string_view key, std::string_view value);
  void AddNotice(std::string_view text, int group = 0);

  // Returns the id of the group of a dependent or response, which is made when there is none yet. A
  // description replaces an earlier one.
  int GroupOfSubject(int variableNumber, std::string_view name, std::string_view description = {});
  // The workbook shares the document with its creator, who may go on changing it. Returns its id,
  // or 0 for a null body.
  int Add(std::shared_ptr<Sheet> sheet, int group = 0);
  int Add(std::shared_ptr<Graph> graph, int group = 0);
  int Add(std::shared_ptr<TextDocument> text, int group = 0);
  bool SetName(int documentId, std::string_view name);
  bool Remove(int documentId);

  const std::vector<Document>& Documents() const { return documents_; }
  const std::vector<DocumentGroup>& Groups() const { return groups_; }
  DocumentGroup* Group(int groupId);
  const DocumentGroup* Group(int groupId) const;
  const Document* Find(int documentId) const;

 private:
  template <typename Body>
  int AddBody(std::shared_ptr<Body> body, int group);

  std::vector<Document> documents_;
  std::vector<DocumentGroup> groups_;
  std::map<std::pair<int, std::string>, int> groupOf_;  // by variable number and name
  int lastId_ = 0;
};

}  // namespace velmora
