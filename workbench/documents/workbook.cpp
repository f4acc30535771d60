// The documents of a run, in order, with their groups.
#include "workbench/documents/workbook.h"

#include <algorithm>

#include "workbench/documents/texts.h"

namespace velmora {
namespace {

constexpr std::size_t kTitleCut = 80;  // the framework cuts spreadsheet titles here

// True when title ends with ": " and name, or was cut inside name.
bool NamesGroup(std::string_view title, std::string_view name) {
  if (name.empty()) return false;
  if (title.size() >= name.size() + 2 && title.ends_with(name) &&
      title.substr(title.size() - name.size() - 2, 2) == ": ") {
    return true;
  }
  if (title.size() != kTitleCut && WidthOf(title) != static_cast<int>(kTitleCut)) return false;
  const std::size_t colon = title.find(": ");
  return colon != std::string_view::npos && colon + 2 < title.size() &&
         name.starts_with(title.substr(colon + 2));
}

std::vector<std::string> TitleLines(const Document& document) {
  if (const Graph* graph = document.AsGraph()) return graph->titleLines;
  return {document.Title()};
}

}  // namespace

const Sheet* Document::AsSheet() const {
  const auto* held = std::get_if<std::shared_ptr<Sheet>>(&body);
  return held ? held->get() : nullptr;
}

const Graph* Document::AsGraph() const {
  const auto* held = std::get_if<std::shared_ptr<Graph>>(&body);
  return held ? held->get() : nullptr;
}

const TextDocument* Document::AsText() const {
  const auto* held = std::get_if<std::shared_ptr<TextDocument>>(&body);
  return held ? held->get() : nullptr;
}

std::string Document::Title() const {
  if (const Sheet* sheet = AsSheet()) return sheet->Title();
  if (const Graph* graph = AsGraph()) return graph->Title();
  return AsText()->title;
}

Workbook::Workbook() { groups_.emplace_back(); }

void Workbook::SetFact(std::string_view key, std::string_view value) {
  for (Fact& fact : facts) {
    if (fact.key == key) {
      fact.value = value;
      return;
    }
  }
  facts.push_back({std::string(key), std::string(value)});
}

void Workbook::AddNotice(std::string_view text, int group) {
  notices.push_back({std::string(text), Group(group) ? group : 0});
}

int Workbook::AddGroup(std::string_view name, std::string_view description) {
  const int id = static_cast<int>(groups_.size());
  groups_.push_back({id, std::string(name), std::string(description), {}});
  return id;
}

template <typename Body>
int Workbook::AddBody(std::shared_ptr<Body> body, int group) {
  if (!body) return 0;
  documents_.push_back({++lastId_, Group(group) ? group : 0, {}, std::move(body)});
  return lastId_;
}

int Workbook::Add(std::shared_ptr<Sheet> sheet, int group) { return AddBody(std::move(sheet), group); }
int Workbook::Add(std::shared_ptr<Graph> graph, int group) { return AddBody(std::move(graph), group); }
int Workbook::Add(std::shared_ptr<TextDocument> text, int group) { return AddBody(std::move(text), group); }

bool Workbook::SetGroup(int documentId, int groupId) {
  if (!Group(groupId)) return false;
  for (Document& document : documents_) {
    if (document.id != documentId) continue;
    document.group = groupId;
    return true;
  }
  return false;
}

bool Workbook::SetName(int documentId, std::string_view name) {
  for (Document& document : documents_) {
    if (document.id != documentId) continue;
    document.name = name;
    return true;
  }
  return false;
}

bool Workbook::Remove(int documentId) {
  return std::erase_if(documents_, [&](const Document& document) { return document.id == documentId; }) > 0;
}

void Workbook::GroupByTitles() {
  for (Document& document : documents_) {
    if (document.group != 0) continue;
    std::size_t longest = 0;  // of "b" and "a: b" the second is meant when both fit
    for (const std::string& line : TitleLines(document)) {
      for (const DocumentGroup& group : groups_) {
        if (group.name.size() > longest && NamesGroup(line, group.name)) {
          longest = group.name.size();
          document.group = group.id;
        }
      }
    }
  }
}

DocumentGroup* Workbook::Group(int groupId) {
  return groupId >= 0 && groupId < static_cast<int>(groups_.size())
             ? &groups_[static_cast<std::size_t>(groupId)]
             : nullptr;
}

const DocumentGroup* Workbook::Group(int groupId) const {
  return const_cast<Workbook*>(this)->Group(groupId);
}

const Document* Workbook::Find(int documentId) const {
  for (const Document& document : documents_) {
    if (document.id == documentId) return &document;
  }
  return nullptr;
}

}  // namespace velmora
