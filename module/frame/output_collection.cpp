#include "module/frame/output_collection.h"

#include <utility>

#include "base/format_text.h"
#include "contract/counted.h"
#include "module/frame/dispatch.h"
#include "module/frame/module_context.h"
#include "module/resources/automation_tables.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {
namespace {

class OutputCollection final : public vlm::Counted<OutputCollection, AutomationDispatch> {
 public:
  explicit OutputCollection(std::vector<vlm::Ref<vlm::IDocument>> documents)
      : Counted(kOutputCollection, kOutputCollection.name), documents_(std::move(documents)) {}

 private:
  void Call(const AutomationCall& call) override {
    static constexpr MemberHandler<OutputCollection> kHandlers[] = {
        {kDispItem, &OutputCollection::GetItem, nullptr},
        {kDispCount, &OutputCollection::GetCount, nullptr},
    };
    CallHandler<OutputCollection>(kHandlers, *this, call);
  }

  void GetCount(const AutomationCall& call) { call.result.SetInt(static_cast<int>(documents_.size())); }

  void GetItem(const AutomationCall& call) {
    const int number = call.Int();
    if (number < 1 || number > static_cast<int>(documents_.size())) {
      throw AutomationException(
          vlm::FormatText(LoadResString(kTextNoSuchOutput),
                          {static_cast<long long>(number), static_cast<long long>(documents_.size())}));
    }
    call.result.SetObject(documents_[static_cast<std::size_t>(number - 1)]->GetAutomationObject());
  }

  friend Counted;
  ~OutputCollection() = default;

  std::vector<vlm::Ref<vlm::IDocument>> documents_;
};

}  // namespace

vlm::Ref<vlm::IAutomationObject> MakeOutputCollection(std::vector<vlm::Ref<vlm::IDocument>> documents) {
  return vlm::Ref<vlm::IAutomationObject>::Adopt(new OutputCollection(std::move(documents)));
}

}  // namespace vlmfsl
