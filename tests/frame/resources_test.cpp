// Properties of every row of the tables.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "module/resources/automation_tables.h"
#include "module/resources/control_ids.h"
#include "module/resources/dialog_templates.h"
#include "module/resources/module_resources.h"
#include "module/resources/text_ids.h"

namespace vlmfsl {
namespace {

TEST(Resources, TextsStayInTheirRanges) {
#define VLM_TEXT_ROW(name, number, text) \
  EXPECT_TRUE((number >= 10000 && number <= 10102) || (number >= 34474 && number <= 34599)) << #name;
  VLM_TEXT_TABLE(VLM_TEXT_ROW)
#undef VLM_TEXT_ROW
  EXPECT_EQ(FindText(10001), nullptr);
  EXPECT_EQ(FindText(kHostTextOffset + 10000), nullptr);
}

TEST(Resources, ControlsFitTheirTemplateAndKeepApart) {
  std::set<int> templates;
  for (const vlm::DialogTemplate& dialog : DialogTemplates()) {
    SCOPED_TRACE(dialog.caption + std::string(" ") + std::to_string(dialog.id));
    EXPECT_TRUE(templates.insert(dialog.id).second) << "stands twice";
    EXPECT_EQ(ModuleResources().FindDialogTemplate(dialog.id), &dialog);
    std::set<int> ids;
    for (int i = 0; i < dialog.controlCount; ++i) {
      const vlm::ControlTemplate& control = dialog.controls[i];
      EXPECT_TRUE(ids.insert(control.id).second) << control.id << " stands twice";
      EXPECT_GE(control.x, 0) << control.id;
      EXPECT_LE(control.x + control.width, dialog.width) << control.id;
      EXPECT_LE(control.y + control.height, dialog.height) << control.id;
      for (int j = 0; j < i; ++j) {
        const vlm::ControlTemplate& other = dialog.controls[j];
        const auto frames = [](const vlm::ControlTemplate& c) {
          return c.controlClass == vlm::kGroupBox || (c.flags & vlm::kControlHidden);
        };
        if (frames(control) || frames(other)) continue;
        const bool apart = control.x >= other.x + other.width || other.x >= control.x + control.width ||
                           control.y >= other.y + other.height || other.y >= control.y + control.height;
        EXPECT_TRUE(apart) << control.id << " covers " << other.id;
      }
    }
  }
  EXPECT_EQ(ModuleResources().FindDialogTemplate(1), nullptr);
}

// Controls without a place in a layout exist all the same, hidden.
TEST(Resources, CommandsWithoutAPlaceAreHiddenControls) {
  struct Row {
    int page, control;
  };
  const Row rows[] = {{kScreeningStartupTemplate, kControlCaseWeights},
                      {kScreeningResultsTemplate, kControlByGroup},
                      {kScreeningSavePage, kControlDeployRules}};
  for (const Row& row : rows) {
    const vlm::DialogTemplate* page = ModuleResources().FindDialogTemplate(row.page);
    ASSERT_NE(page, nullptr) << row.page;
    bool hidden = false;
    for (int i = 0; i < page->controlCount; ++i) {
      hidden |= page->controls[i].id == row.control && (page->controls[i].flags & vlm::kControlHidden);
    }
    EXPECT_TRUE(hidden) << row.control << " on " << row.page;
  }
  // The order without a key is a command alone.
  const vlm::DialogTemplate* page = ModuleResources().FindDialogTemplate(kScreeningStartupAdvancedPage);
  for (int i = 0; i < page->controlCount; ++i) EXPECT_NE(page->controls[i].id, 1095);
}

TEST(Resources, InterfacesHaveOneNameAndOneIdAMember) {
  const char* const names[] = {"VlmAnalysisDialog", "FSLStartup", "FSLResults", "PredictorScreeningStartup",
                               "PredictorScreeningResults"};
  int index = 0;
  for (const char* name : names) {
    const vlm::AutomationInterface* description = ModuleResources().GetAutomationInterface(index++);
    ASSERT_NE(description, nullptr);
    EXPECT_STREQ(description->name, name);
    std::set<std::string> memberNames;
    std::set<int> ids;
    for (const vlm::AutomationInterface* level = description; level; level = level->base) {
      for (int i = 0; i < level->memberCount; ++i) {
        const vlm::AutomationMember& member = level->members[i];
        EXPECT_TRUE(memberNames.insert(member.name).second) << member.name;
        EXPECT_TRUE(ids.insert(member.dispatchId).second) << member.name;
        EXPECT_EQ((member.kinds & vlm::kInvokeGet) != 0 || (member.kinds & vlm::kInvokeMethod) != 0,
                  member.getHelp != nullptr)
            << member.name;
        EXPECT_EQ((member.kinds & vlm::kInvokePut) != 0, member.putHelp != nullptr) << member.name;
      }
    }
  }
  EXPECT_EQ(ModuleResources().GetAutomationInterface(index), nullptr);
}

}  // namespace
}  // namespace vlmfsl
