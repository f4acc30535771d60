#include "module/frame/input_additions.h"

#include <set>

#include "base/utf8_text.h"
#include "module/frame/engine_texts.h"
#include "module/frame/step_result.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {
namespace {

std::set<std::string> ExistingBundleNames(vlm::IInputSpreadsheet& input) {
  std::set<std::string> names;
  for (int i = 0; i < input.GetBundleCount(); ++i) {
    names.insert(vlm::TextOf([&](vlm::ITextSink* sink) { input.GetBundleName(i, sink); }));
  }
  return names;
}

std::string FreeName(const std::string& name, const std::set<std::string>& taken) {
  std::string candidate = name;
  for (int number = 1; taken.contains(candidate); ++number) {
    candidate = name + (number < 10 ? "_0" : "_") + std::to_string(number);
  }
  return candidate;
}

}  // namespace

int AddBundles(vlm::IInputSpreadsheet& input, const std::vector<PredictorBundle>& bundles) {
  std::set<std::string> taken = ExistingBundleNames(input);
  for (const PredictorBundle& bundle : bundles) {
    const std::string name = FreeName(bundle.name, taken);
    const std::u16string wideName = vlm::ToUtf16(name);
    if (input.AddBundle(wideName.data(), static_cast<int>(wideName.size()), bundle.variables.data(),
                        vlm::LengthOf(bundle.variables)) != 0) {
      return kFailed;
    }
    taken.insert(name);
  }
  return kOk;
}

int SaveBestPredictorBundles(const std::vector<PredictorBundle>& bundles, vlm::IAnalysisHost& host,
                             vlm::IEngineServices& services) {
  const auto say = [&](int textId) {
    const std::string text = LoadText(services, textId);
    host.MessageOutput(text.data(), vlm::LengthOf(text));
  };
  if (bundles.empty()) {
    say(kTextNothingToSave);
    return kOk;
  }
  vlm::IInputSpreadsheet* input = host.GetInputSpreadsheet();
  if (!input) return kFailed;
  {
    InputAdditions additions(*input);
    if (AddBundles(*input, bundles) != kOk) return kFailed;
    additions.Keep();
  }
  say(kTextBundlesSaved);
  return kOk;
}

}  // namespace vlmfsl
