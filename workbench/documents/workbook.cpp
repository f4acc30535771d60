// The documents of a run, in order, with their groups.
#include "workbench/documents/workbook.h"

#include <algorithm>

#include "workbench/documents/presentation.h"

namespace velmora {

Fact CountFact(std::string key, std::int64_t count) {
  return {std::move(key), GroupedDigits(count), static_cast<double>(count)};
}

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
  if (const Sheet* sheet = AsSheet()) return sheet->LongTitle();
  if (const Graph* graph = AsGraph()) return graph->Title();
  return AsText()->title;
}

Workbook::Workbook() { groups_.emplace_back(); }

void Workbook::SetFact(std::string_view key, std::string_view value) {
  for (Fact& fact : facts) {
    if (fact.key == key) {
      fact.value = value;
      fact.number.reset();
      return;
    }
  }
  facts.push_back({std::string(key), std::string(value)});
}

void Workbook::AddNotice(std::string_view text, int group) {
  notices.push_back({std::string(text), Group(group) ? group : 0});
}

int Workbook::GroupOfSubject(int variableNumber, std::string_view name, std::string_view description) {
  const auto [place, isNew] =
      groupOf_.try_emplace({variableNumber, std::string(name)}, static_cast<int>(groups_.size()));
  if (isNew) groups_.push_back({place->second, variableNumber, std::string(name), {}, {}});
  if (!description.empty()) Group(place->second)->description = description;
  return place->second;
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
