// A tokenizer and a Pratt parser: each operator has a binding strength, and an operand takes the
// operators that bind more strongly than the one before it.
#include "workbench/language/syntax.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace velmora {
namespace {

constexpr int kMostNesting = 200;
constexpr int kMostDepth = 2000;  // a chain of different operators is as deep as it is long

constexpr std::string_view kDateForm = "0000-00-00";

constexpr int kNotBinding = 3, kComparisonBinding = 4, kSignBinding = 8;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

struct Operator {
  std::string_view symbol;  // or word
  SyntaxKind kind;
  int binding;
};

constexpr std::array kOperators = {
    Operator{"or", SyntaxKind::kOr, 1},
    Operator{"and", SyntaxKind::kAnd, 2},
    Operator{"=", SyntaxKind::kEqual, kComparisonBinding},
    Operator{"<>", SyntaxKind::kNotEqual, kComparisonBinding},
    Operator{"<", SyntaxKind::kLess, kComparisonBinding},
    Operator{"<=", SyntaxKind::kLessOrEqual, kComparisonBinding},
    Operator{">", SyntaxKind::kGreater, kComparisonBinding},
    Operator{">=", SyntaxKind::kGreaterOrEqual, kComparisonBinding},
    Operator{"&", SyntaxKind::kJoin, 5},
    Operator{"+", SyntaxKind::kAdd, 6},
    Operator{"-", SyntaxKind::kSubtract, 6},
    Operator{"*", SyntaxKind::kMultiply, 7},
    Operator{"/", SyntaxKind::kDivide, 7},
    Operator{"^", SyntaxKind::kPower, 9},
};

const Operator* OperatorAt(const Token& token) {
  if (token.kind != TokenKind::kSymbol && token.kind != TokenKind::kName) return nullptr;
  const std::string_view wanted = token.kind == TokenKind::kName ? token.lower : token.text;
  const auto* found = std::find_if(kOperators.begin(), kOperators.end(),
                                   [&](const Operator& one) { return one.symbol == wanted; });
  return found == kOperators.end() ? nullptr : found;
}

class Tokenizer {
 public:
  Tokenizer(std::string_view source, Dialect dialect) : source_(source), dialect_(dialect) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (dialect.basic && source.starts_with(kByteOrderMark)) at_ = kByteOrderMark.size();
  }

  std::vector<Token> Read() {
    while (at_ < source_.size()) ReadOne();
    if (dialect_.basic) Add(TokenKind::kLineEnd);
    Add(TokenKind::kEnd);
    return std::move(tokens_);
  }

 private:
  char At(std::size_t place) const { return place < source_.size() ? source_[place] : '\0'; }
  bool StartsName(char c) const {
    const char lower = Lower(c);
    return (lower >= 'a' && lower <= 'z') || c == '_' || static_cast<unsigned char>(c) >= 0x80 ||
           (!dialect_.basic && (c == '$' || c == '@' || c == '#'));
  }

  [[noreturn]] void Fail(const Token& token, std::string reason) const {
    throw SyntaxError{token.at, token.line, std::move(reason)};
  }

  Token& Add(TokenKind kind) {
    Token& token = tokens_.emplace_back();
    token.kind = kind;
    token.line = line_;
    token.at = at_;
    return token;
  }

  void ReadOne() {
    const char c = source_[at_];
    if (c == ' ' || c == '\t') {
      ++at_;
    } else if (c == '\n' || c == '\r') {
      EndLine();
    } else if (c == '"' || (c == '\'' && !dialect_.basic)) {
      ReadText(c);
    } else if (c == '\'') {
      SkipRemark();
    } else if (c == '#' && !dialect_.basic && IsDate(at_ + 1)) {
      ReadMarkedDate();
    } else if (IsDigit(c) || (c == '.' && IsDigit(At(at_ + 1)))) {
      if (dialect_.basic || !ReadDate()) ReadNumber();
    } else if (StartsName(c)) {
      ReadName();
    } else {
      ReadSymbol();
    }
  }

  void EndLine() {
    if (dialect_.basic) Add(TokenKind::kLineEnd);
    at_ += source_[at_] == '\r' && At(at_ + 1) == '\n' ? 2 : 1;
    ++line_;
  }

  void SkipRemark() { at_ = std::min(source_.find_first_of("\r\n", at_), source_.size()); }

  // Two quotation marks inside mean one.
  void ReadText(char quote) {
    Token& token = Add(TokenKind::kText);
    token.quote = quote;
    for (++at_;; ++at_) {
      const char c = At(at_);
      if (at_ >= source_.size() || (dialect_.basic && (c == '\n' || c == '\r')))
        Fail(token, dialect_.basic ? "a quotation mark is opened and not closed on its line"
                                   : "a quotation mark is opened and never closed");
      if (c == quote) {
        if (At(at_ + 1) != quote) break;
        ++at_;
      }
      token.text += source_[at_];
    }
    ++at_;
  }

  // 2024-06-01
  bool IsDate(std::size_t place) const {
    for (std::size_t i = 0; i < kDateForm.size(); ++i) {
      if (kDateForm[i] == '0' ? !IsDigit(At(place + i)) : At(place + i) != kDateForm[i]) return false;
    }
    return true;
  }

  bool ReadDate() {
    const char after = At(at_ + kDateForm.size());
    if (!IsDate(at_) || IsDigit(after) || after == '.' || StartsName(after)) return false;
    Token& token = Add(TokenKind::kDate);
    token.text = source_.substr(at_, kDateForm.size());
    at_ += kDateForm.size();
    return true;
  }

  // #2024-06-01 12:30#
  void ReadMarkedDate() {
    Token& token = Add(TokenKind::kDate);
    const std::size_t end = source_.find('#', at_ + 1);
    if (end == std::string_view::npos) Fail(token, "a date begins with # and its closing # is missing");
    token.text = source_.substr(at_ + 1, end - at_ - 1);
    at_ = end + 1;
  }

  void ReadNumber() {
    Token& token = Add(TokenKind::kNumber);
    std::string& digits = token.text;
    const auto takeDigits = [&] {
      while (IsDigit(At(at_))) digits += source_[at_++];
    };
    takeDigits();
    const bool comma = dialect_.decimalComma && openFunctions_ == 0 && !digits.empty() && At(at_) == ',' &&
                       IsDigit(At(at_ + 1));
    if (comma || At(at_) == '.') {
      digits += '.';
      ++at_;
      takeDigits();
    }
    const std::size_t exponent = at_ + (At(at_ + 1) == '+' || At(at_ + 1) == '-' ? 2 : 1);
    if (Lower(At(at_)) == 'e' && IsDigit(At(exponent))) {
      digits += At(at_ + 1) == '-' ? "e-" : "e";
      at_ = exponent;
      takeDigits();
    }
    if (StartsName(At(at_)) || At(at_) == '.')
      Fail(token, dialect_.basic ? "the number " + digits + " runs into what follows it"
                                 : "a name cannot begin with a digit; put it in quotes");
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), token.number);
    if (read.ec != std::errc()) Fail(token, "the number " + digits + " is out of range");
  }

  void ReadName() {
    const std::size_t begin = at_;
    while (StartsName(At(at_)) || IsDigit(At(at_)) || (At(at_) == '.' && !dialect_.basic)) ++at_;
    const std::string_view name = source_.substr(begin, at_ - begin);
    std::string lower = LowerText(name);
    if (dialect_.basic && lower == "rem") return SkipRemark();
    Token& token = Add(TokenKind::kName);
    token.at = begin;
    token.text = name;
    token.lower = std::move(lower);
  }

  void ReadSymbol() {
    const std::string_view two = source_.substr(at_, 2);
    const bool isTwo = two == "<>" || two == "<=" || two == ">=" || two == "==" || two == "!=";
    const std::string_view symbol = isTwo ? two : two.substr(0, 1);
    const bool endsStatement = dialect_.basic && symbol == ":";
    const bool opensFunction = symbol == "(" && !tokens_.empty() && tokens_.back().kind == TokenKind::kName &&
                               !IsKeyword(tokens_.back().lower);
    Token& token = Add(endsStatement ? TokenKind::kLineEnd : TokenKind::kSymbol);
    token.text = symbol == "==" ? "=" : symbol == "!=" ? "<>" : symbol;
    if (!endsStatement && !isTwo && std::string_view("=<>+-*/^&(),").find(symbol) == std::string_view::npos)
      Fail(token, "the character \"" + WholeCharacter() + "\" has no meaning here");
    at_ += symbol.size();
    if (symbol == "(") {
      parentheses_.push_back(opensFunction);
      openFunctions_ += opensFunction ? 1 : 0;
    } else if (symbol == ")" && !parentheses_.empty()) {
      openFunctions_ -= parentheses_.back() ? 1 : 0;
      parentheses_.pop_back();
    }
  }

  static bool IsKeyword(std::string_view lower) {
    static constexpr std::string_view kWords[] = {"and", "or", "not", "if", "elseif", "then", "else"};
    return std::find(std::begin(kWords), std::end(kWords), lower) != std::end(kWords);
  }

  std::string WholeCharacter() const {
    std::size_t end = at_ + 1;
    while ((static_cast<unsigned char>(At(end)) & 0xC0U) == 0x80U) ++end;
    return std::string(source_.substr(at_, end - at_));
  }

  std::string_view source_;
  Dialect dialect_;
  std::size_t at_ = 0;
  int line_ = 1;
  std::vector<bool> parentheses_;  // those that are open; true: of a function
  int openFunctions_ = 0;
  std::vector<Token> tokens_;
};

}  // namespace

std::string LowerText(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), Lower);
  return lower;
}

std::string Shown(const Token& token) {
  if (token.kind == TokenKind::kEnd) return "the end";
  if (token.kind == TokenKind::kLineEnd) return "the end of the line";
  return "\"" + token.text + "\"";
}

std::vector<Token> Tokenize(std::string_view source, Dialect dialect) {
  return Tokenizer(source, dialect).Read();
}

SyntaxReader::Nesting::Nesting(SyntaxReader& reader) : reader_(reader) {
  if (++reader_.nesting_ > kMostNesting) {
    --reader_.nesting_;
    reader_.Fail("this is nested too deeply");
  }
}

Token SyntaxReader::Take() {
  const std::size_t taken = at_;
  if (at_ + 1 < tokens_.size()) ++at_;
  return tokens_[taken];
}

bool SyntaxReader::TakeWord(std::string_view lower) {
  const bool is = IsWord(lower);
  if (is) Take();
  return is;
}

bool SyntaxReader::TakeSymbol(std::string_view symbol) {
  const bool is = IsSymbol(symbol);
  if (is) Take();
  return is;
}

Syntax SyntaxReader::ReadValue() {
  const Nesting nesting(*this);
  return ReadOperators(0);
}

void SyntaxReader::Append(Syntax& value, Syntax part) const {
  value.depth = std::max(value.depth, part.depth + 1);
  if (value.depth > kMostDepth) throw SyntaxError{value.at, value.line, "the value is too long"};
  value.parts.push_back(std::move(part));
}

Syntax SyntaxReader::ReadOperators(int binding) {
  Syntax left = ReadOperand(binding);
  for (const Operator* last = nullptr;;) {
    const Operator* const next = OperatorAt(Now());
    if (next == nullptr || next->binding < binding) return left;
    if (last != nullptr && last->binding == kComparisonBinding && next->binding == kComparisonBinding)
      Fail("comparisons cannot be chained; join them with And");
    const Token token = Take();
    Syntax right = next->kind == SyntaxKind::kPower ? ReadExponent() : ReadOperators(next->binding + 1);
    // A chain of one operator becomes one value: a thousand conditions joined by Or are no deeper
    // than two.
    if (last != next) {
      Syntax operation;
      operation.kind = next->kind;
      operation.line = token.line;
      operation.at = token.at;
      Append(operation, std::move(left));
      left = std::move(operation);
    }
    Append(left, std::move(right));
    last = next;
  }
}

Syntax SyntaxReader::ReadExponent() {
  const Nesting nesting(*this);
  return ReadOperators(kSignBinding);
}

bool SyntaxReader::IsReservedWord() const {
  static constexpr std::string_view kWords[] = {"and", "or", "not", "then", "else", "elseif", "end", "endif"};
  const auto* const last = dialect_.basic ? std::end(kWords) : std::begin(kWords) + 3;
  return Now().kind == TokenKind::kName && std::find(std::begin(kWords), last, Now().lower) != last;
}

Syntax SyntaxReader::ReadOperand(int binding) {
  Syntax value;
  value.line = Now().line;
  value.at = Now().at;
  const bool isNot = IsWord("not") && binding <= kNotBinding;
  if (isNot || IsSymbol("-") || IsSymbol("+")) {
    const Nesting nesting(*this);
    const Token sign = Take();
    Syntax operand = ReadOperators(isNot ? kNotBinding : kSignBinding);
    if (sign.text == "+") return operand;
    value.kind = isNot ? SyntaxKind::kNot : SyntaxKind::kNegate;
    Append(value, std::move(operand));
    return value;
  }
  if (TakeSymbol("(")) {
    Syntax inner = ReadValue();
    if (!TakeSymbol(")")) Fail("a closing parenthesis is expected before " + Shown(Now()));
    return inner;
  }
  static constexpr std::pair<TokenKind, SyntaxKind> kKinds[] = {{TokenKind::kNumber, SyntaxKind::kNumber},
                                                                {TokenKind::kDate, SyntaxKind::kDate},
                                                                {TokenKind::kText, SyntaxKind::kText},
                                                                {TokenKind::kName, SyntaxKind::kName}};
  const auto* const found = std::find_if(std::begin(kKinds), std::end(kKinds),
                                         [this](const auto& kind) { return kind.first == Now().kind; });
  if (found == std::end(kKinds) || IsReservedWord()) {
    Fail("a value is expected " +
         (Now().kind == TokenKind::kEnd ? std::string("at the end") : "before " + Shown(Now())));
  }
  value.kind = found->second;
  value.quote = Now().quote;
  value.number = Now().number;
  value.text = Take().text;
  return value.kind == SyntaxKind::kName && IsSymbol("(") ? ReadCall(std::move(value)) : value;
}

Syntax SyntaxReader::ReadCall(Syntax call) {
  call.kind = SyntaxKind::kCall;
  call.text = LowerText(call.text);
  Take();
  if (TakeSymbol(")")) return call;
  do {
    Append(call, ReadValue());
  } while (TakeSymbol(","));
  if (!TakeSymbol(")")) Fail("a closing parenthesis is expected before " + Shown(Now()));
  return call;
}

Syntax ParseExpression(std::string_view text, Dialect dialect) {
  class WholeReader : public SyntaxReader {
   public:
    using SyntaxReader::SyntaxReader;
    Syntax Read() {
      TakeWord("and");  // tolerated in front of a condition that is added to others
      Syntax value = ReadValue();
      if (Now().kind != TokenKind::kEnd) Fail("an operator is expected before " + Shown(Now()));
      return value;
    }
  };
  return WholeReader(text, dialect).Read();
}

void FoldTexts(Syntax& tree) {
  for (Syntax& part : tree.parts) FoldTexts(part);
  const auto makeText = [&tree](std::string text, char quote) {
    tree.kind = SyntaxKind::kText;
    tree.quote = quote;
    tree.text = std::move(text);
    tree.parts.clear();
  };
  if (tree.kind == SyntaxKind::kCall && tree.text == "chr" && tree.parts.size() == 1) {
    const double code = tree.parts.front().number;
    if (tree.parts.front().kind == SyntaxKind::kNumber && code >= 0 && code < 128)
      makeText(std::string(1, static_cast<char>(code)), '"');
  } else if (tree.kind == SyntaxKind::kJoin &&
             std::all_of(tree.parts.begin(), tree.parts.end(),
                         [](const Syntax& part) { return part.kind == SyntaxKind::kText; })) {
    std::string text;
    for (const Syntax& part : tree.parts) text += part.text;
    makeText(std::move(text), tree.parts.front().quote);
  }
}

std::string QuotedText(std::string_view text) {
  std::string quoted = "\"";
  bool isOpen = true;
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    const bool isControl = code < 0x20 || code == 0x7F;
    if (isControl) {
      quoted += (isOpen ? "\" & Chr(" : " & Chr(") + std::to_string(code) + ")";
      isOpen = false;
      continue;
    }
    if (!isOpen) quoted += " & \"";
    isOpen = true;
    quoted.append(c == '"' ? 2 : 1, c);
  }
  return isOpen ? quoted + "\"" : quoted;
}

}  // namespace velmora
