#include "workbench/language/script_tokens.h"

#include <algorithm>
#include <charconv>

#include "workbench/language/script_program.h"

namespace velmora {
namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool StartsName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

class TokenReader {
 public:
  TokenReader(std::string_view script, const std::string& file, std::string_view decimalSeparator)
      : script_(script), file_(file), decimalComma_(decimalSeparator == ",") {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (script_.starts_with(kByteOrderMark)) at_ = kByteOrderMark.size();
  }

  std::vector<ScriptToken> Read() {
    while (at_ < script_.size()) ReadOne();
    Add(ScriptToken::Kind::kEndOfLine);
    Add(ScriptToken::Kind::kEnd);
    return std::move(tokens_);
  }

 private:
  [[noreturn]] void Fail(const std::string& reason) const { FailInScript(file_, line_, reason); }

  char At(std::size_t place) const { return place < script_.size() ? script_[place] : '\0'; }

  ScriptToken& Add(ScriptToken::Kind kind) {
    ScriptToken& token = tokens_.emplace_back();
    token.kind = kind;
    token.line = line_;
    return token;
  }

  void ReadOne() {
    const char c = script_[at_];
    if (c == ' ' || c == '\t') {
      ++at_;
    } else if (c == '\n' || c == '\r') {
      EndLine();
    } else if (c == '\'') {
      SkipRemark();
    } else if (c == '"') {
      ReadText();
    } else if (IsDigit(c) || (c == '.' && IsDigit(At(at_ + 1)))) {
      ReadNumber();
    } else if (StartsName(c)) {
      ReadName();
    } else {
      ReadSymbol();
    }
  }

  void EndLine() {
    Add(ScriptToken::Kind::kEndOfLine);
    at_ += script_[at_] == '\r' && At(at_ + 1) == '\n' ? 2 : 1;
    ++line_;
  }

  void SkipRemark() { at_ = std::min(script_.find_first_of("\r\n", at_), script_.size()); }

  void ReadText() {
    std::string text;
    for (++at_;; ++at_) {
      if (at_ == script_.size() || script_[at_] == '\n' || script_[at_] == '\r')
        Fail("a quotation mark is opened and not closed on its line");
      if (script_[at_] == '"') {
        if (At(at_ + 1) != '"') break;
        ++at_;
      }
      text += script_[at_];
    }
    ++at_;
    Add(ScriptToken::Kind::kText).text = std::move(text);
  }

  void ReadNumber() {
    std::string digits;
    const auto takeDigits = [&] {
      while (IsDigit(At(at_))) digits += script_[at_++];
    };
    takeDigits();
    const char mark = At(at_);
    if (mark == '.' || (mark == ',' && decimalComma_ && IsDigit(At(at_ + 1)))) {
      digits += '.';
      ++at_;
      takeDigits();
    }
    const std::size_t sign = at_ + (At(at_ + 1) == '+' || At(at_ + 1) == '-' ? 2 : 1);
    if ((At(at_) == 'e' || At(at_) == 'E') && IsDigit(At(sign))) {
      digits += 'e';
      if (At(at_ + 1) == '-') digits += '-';
      at_ = sign;
      takeDigits();
    }
    if (StartsName(At(at_)) || At(at_) == '.') Fail("the number " + digits + " runs into what follows it");
    double number = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec != std::errc())
      Fail("the number " + digits + " is out of range");
    Add(ScriptToken::Kind::kNumber).number = number;
    tokens_.back().text = std::move(digits);
  }

  void ReadName() {
    const std::size_t begin = at_;
    while (StartsName(At(at_)) || IsDigit(At(at_))) ++at_;
    std::string name(script_.substr(begin, at_ - begin));
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    if (lower == "rem") return SkipRemark();
    ScriptToken& token = Add(ScriptToken::Kind::kName);
    token.text = std::move(name);
    token.lower = std::move(lower);
  }

  void ReadSymbol() {
    const std::string_view two = script_.substr(at_, 2);
    const std::string_view symbol = two == "<>" || two == "<=" || two == ">=" ? two : two.substr(0, 1);
    if (symbol.size() == 1 && std::string_view("=<>+-*/&(),:").find(symbol) == std::string_view::npos)
      Fail("the character " + std::string(symbol) + " has no meaning here");
    at_ += symbol.size();
    if (symbol == ":") {
      Add(ScriptToken::Kind::kEndOfLine);
    } else {
      Add(ScriptToken::Kind::kSymbol).text = symbol;
    }
  }

  std::string_view script_;
  const std::string& file_;
  bool decimalComma_;
  std::size_t at_ = 0;
  int line_ = 1;
  std::vector<ScriptToken> tokens_;
};

}  // namespace

std::vector<ScriptToken> ReadScriptTokens(std::string_view script, const std::string& file,
                                          std::string_view decimalSeparator) {
  return TokenReader(script, file, decimalSeparator).Read();
}

}  // namespace velmora
