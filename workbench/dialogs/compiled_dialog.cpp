#include "workbench/dialogs/compiled_dialog.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace velmora {

namespace {

// Styles of windows and of the control classes, as compiled templates hold them.
constexpr std::uint32_t kVisible = 0x10000000;
constexpr std::uint32_t kGroup = 0x00020000;
constexpr std::uint32_t kTabStop = 0x00010000;
constexpr std::uint32_t kSetFont = 0x40;  // of a dialog: its font follows the captions
constexpr std::uint32_t kButtonKind = 0x0f;
enum ButtonStyle : std::uint32_t {
  kPush = 0,
  kDefaultPush = 1,
  kAutoCheck = 3,
  kGroupBoxStyle = 7,
  kAutoRadio = 9
};

void AppendUtf8(std::string& text, std::uint32_t code) {
  if (code < 0x80) {
    text += static_cast<char>(code);
    return;
  }
  const int followers = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  constexpr std::uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
  text += static_cast<char>(kLead[followers] | (code >> (6 * followers)));
  for (int i = followers - 1; i >= 0; --i) text += static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3F));
}

class Reader {
 public:
  explicit Reader(std::span<const std::byte> bytes) : bytes_(bytes) {}

  std::uint32_t Number(std::size_t size) {
    if (position_ + size > bytes_.size()) throw std::runtime_error("it ends early");
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < size; ++i) {
      number |= std::to_integer<std::uint32_t>(bytes_[position_ + i]) << (8 * i);
    }
    position_ += size;
    return number;
  }
  std::uint32_t Word() { return Number(2); }
  std::uint32_t Long() { return Number(4); }
  short Coordinate() { return static_cast<short>(Word()); }
  void Skip(std::size_t size) { position_ += size; }
  void Align() { position_ = (position_ + 3) & ~std::size_t{3}; }

  // UTF-16 up to its zero, as UTF-8.
  std::string Text() {
    std::string text;
    for (std::uint32_t unit = Word(); unit != 0; unit = Word()) {
      if (unit >= 0xD800 && unit < 0xDC00) unit = 0x10000 + ((unit - 0xD800) << 10) + (Word() - 0xDC00);
      AppendUtf8(text, unit);
    }
    return text;
  }
  // A text, or a number after a word with all bits set.
  std::string TextOrNumber(std::optional<std::uint32_t>& number) {
    const std::size_t start = position_;
    number.reset();
    if (Word() == 0xFFFF) {
      number = Word();
      return {};
    }
    position_ = start;
    return Text();
  }

 private:
  std::span<const std::byte> bytes_;
  std::size_t position_ = 0;
};

// Names of window classes are not case-sensitive; class numbers are those of the system's own
// classes.
bool IsClass(std::string_view name, std::optional<std::uint32_t> number, std::string_view wanted,
             std::uint32_t wantedNumber = 0) {
  if (number) return *number == wantedNumber;
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  if (name.size() != wanted.size()) return false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (lower(name[i]) != lower(wanted[i])) return false;
  }
  return true;
}

std::optional<vlm::ControlClass> ClassOf(std::string_view name, std::optional<std::uint32_t> number,
                                         std::uint32_t style) {
  if (IsClass(name, number, "BUTTON", 0x80)) {
    switch (style & kButtonKind) {
      case kPush:
      case kDefaultPush:
        return vlm::kButton;
      case kAutoCheck:
        return vlm::kCheckBox;
      case kGroupBoxStyle:
        return vlm::kGroupBox;
      case kAutoRadio:
        return vlm::kRadioButton;
      default:
        return std::nullopt;
    }
  }
  if (IsClass(name, number, "STATIC", 0x82)) return vlm::kLabel;
  if (IsClass(name, number, "COMBOBOX", 0x85)) return vlm::kDropDown;
  struct HostClass {
    const char* name;
    vlm::ControlClass controlClass;
  };
  constexpr HostClass kHostClasses[] = {
      {"SysTabControl32", vlm::kTab},
      {vlm::kListCaptionWindowClass, vlm::kListCaption},
      {vlm::kIntegerEditWindowClass, vlm::kIntegerEdit},
      {vlm::kRealEditWindowClass, vlm::kRealEdit},
      {vlm::kValueEditWindowClass, vlm::kValueEdit},
      {vlm::kIconButtonWindowClass, vlm::kIconButton},
  };
  for (const HostClass& row : kHostClasses) {
    if (IsClass(name, number, row.name)) return row.controlClass;
  }
  return std::nullopt;
}

vlm::ControlTemplate ReadControl(Reader& reader, std::deque<std::string>& captions) {
  reader.Align();
  reader.Long();  // help identifier
  reader.Long();  // extended style
  const std::uint32_t style = reader.Long();
  vlm::ControlTemplate control{};
  control.x = reader.Coordinate();
  control.y = reader.Coordinate();
  control.width = reader.Coordinate();
  control.height = reader.Coordinate();
  control.id = static_cast<int>(reader.Long());
  std::optional<std::uint32_t> number;
  const std::string className = reader.TextOrNumber(number);
  const std::optional<vlm::ControlClass> controlClass = ClassOf(className, number, style);
  if (!controlClass) {
    throw std::runtime_error("control " + std::to_string(control.id) + " is of the unknown class \"" +
                             className + "\"");
  }
  control.controlClass = *controlClass;
  captions.push_back(reader.TextOrNumber(number));
  control.caption = captions.back().c_str();
  reader.Skip(reader.Word());  // the control's own data
  if (control.controlClass == vlm::kDropDown) {
    control.height = static_cast<short>(control.height - vlm::kDropDownListHeight);
  }
  const bool isPushButton = control.controlClass == vlm::kButton;
  if ((style & kVisible) == 0) control.flags |= vlm::kControlHidden;
  if (isPushButton && (style & kButtonKind) == kDefaultPush) control.flags |= vlm::kControlDefault;
  if ((style & kGroup) != 0) control.flags |= vlm::kControlGroupStart;
  // The tab key never stops at a frame, so tables do not have to say so.
  if ((style & kTabStop) == 0 && control.controlClass != vlm::kGroupBox)
    control.flags |= vlm::kControlNoTabStop;
  return control;
}

}  // namespace

CompiledDialog::CompiledDialog(int id, std::span<const std::byte> bytes) try {
  Reader reader(bytes);
  if (reader.Word() != 1 || reader.Word() != 0xFFFF) throw std::runtime_error("it is no extended template");
  reader.Long();  // help identifier
  reader.Long();  // extended style
  const std::uint32_t style = reader.Long();
  const std::uint32_t controlCount = reader.Word();
  reader.Skip(2 * sizeof(std::uint16_t));  // where the dialog opens is the host's
  template_.id = id;
  template_.width = reader.Coordinate();
  template_.height = reader.Coordinate();
  std::optional<std::uint32_t> number;
  reader.TextOrNumber(number);  // menu
  reader.TextOrNumber(number);  // window class
  captions_.push_back(reader.Text());
  template_.caption = captions_.back().c_str();
  if ((style & kSetFont) != 0) {
    reader.Skip(6);  // size, weight, slant and character set
    reader.Text();   // font
  }
  for (std::uint32_t i = 0; i < controlCount; ++i) controls_.push_back(ReadControl(reader, captions_));
  template_.controls = controls_.data();
  template_.controlCount = static_cast<int>(controls_.size());
} catch (const std::runtime_error& error) {
  throw std::runtime_error("The dialog template " + std::to_string(id) + " cannot be read: " + error.what() +
                           ".");
}

}  // namespace velmora
