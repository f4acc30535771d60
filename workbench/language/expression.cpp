// A recursive-descent compiler into steps for a stack machine, and the machine, which works on slices of
// cases so that each step is one loop over doubles. NaN stands for missing inside and never leaves.
#include "workbench/language/expression.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "workbench/data/names.h"

namespace velmora {

namespace {

constexpr std::size_t kSlice = 512;  // cases; a few slices stay in the first-level cache
constexpr int kMaxNesting = 200;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

std::string LowerText(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), Lower);
  return lower;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool StartsName(char c) {
  const char lower = Lower(c);
  return (lower >= 'a' && lower <= 'z') || c == '_' || c == '$' || c == '@' || c == '#' ||
         static_cast<unsigned char>(c) >= 0x80;
}

enum class TokenKind { kEnd, kNumber, kWord, kDoubleQuoted, kSingleQuoted, kSymbol };

struct Token {
  TokenKind kind = TokenKind::kEnd;
  std::size_t at = 0;  // byte offset
  std::string text;    // without quotes; a symbol in its usual form (== is =, != is <>)
  double number = 0;
};

// A result that may be no finite number.
double Checked(double value) { return value - value == 0 ? value : kNan; }

// The bit pattern as an integer ordered like the doubles, as in IsMissing.
std::int64_t OrderedImage(double value) {
  std::int64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits < 0 ? std::numeric_limits<std::int64_t>::min() - bits : bits;
}

// Both are finite.
bool Near(double a, double b) {
  const std::int64_t x = OrderedImage(a);
  const std::int64_t y = OrderedImage(b);
  return x <= y + 15 && y <= x + 15;
}

bool EitherMissing(double a, double b) { return a != a || b != b; }

template <class Operation>
void Unary(double* top, std::size_t count, Operation operation) {
  for (std::size_t i = 0; i < count; ++i) top[i] = operation(top[i]);
}

template <class Operation>
void Binary(double* left, const double* right, std::size_t count, Operation operation) {
  for (std::size_t i = 0; i < count; ++i) left[i] = operation(left[i], right[i]);
}

template <class Operation>
void Compare(double* left, const double* right, std::size_t count, Operation operation) {
  for (std::size_t i = 0; i < count; ++i)
    left[i] = EitherMissing(left[i], right[i]) ? kNan : (operation(left[i], right[i]) ? 1.0 : 0.0);
}

}  // namespace

class ExpressionCompiler {
 public:
  ExpressionCompiler(std::string_view text, const ExpressionNames& names) : text_(text), names_(names) {}

  Expression Compile() {
    Advance();
    if (IsWord("and")) Advance();
    if (token_.kind == TokenKind::kEnd) throw DataError("The expression is empty.");
    Emit(ParseOr());
    if (token_.kind != TokenKind::kEnd) Fail(token_, "an operator should stand before " + Shown(token_));
    std::sort(result_.variables_.begin(), result_.variables_.end());
    result_.variables_.erase(std::unique(result_.variables_.begin(), result_.variables_.end()),
                             result_.variables_.end());
    std::vector<int>& compared = result_.comparedWithNumbers_;
    std::sort(compared.begin(), compared.end());
    compared.erase(std::unique(compared.begin(), compared.end()), compared.end());
    return std::move(result_);
  }

 private:
  using Op = Expression::Op;

  // What a rule has parsed: steps that are emitted already, or a variable or text that a comparison may still
  // take for the other.
  struct Operand {
    enum Kind { kEmitted, kVariable, kText } kind = kEmitted;
    int variable = 0;
    Token token;
  };

  [[noreturn]] void Fail(const Token& token, const std::string& what) const {
    // Characters, not bytes.
    const auto before =
        std::count_if(text_.begin(), text_.begin() + static_cast<std::ptrdiff_t>(token.at),
                      [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; });
    std::size_t end = std::min<std::size_t>(400, text_.size());
    while (end < text_.size() && (static_cast<unsigned char>(text_[end]) & 0xC0U) == 0x80U) ++end;
    const std::string shown = std::string(text_.substr(0, end)) + (end < text_.size() ? "..." : "");
    throw DataError("The expression \"" + shown + "\" has a fault at position " + std::to_string(before + 1) +
                    ": " + what + (what.ends_with('?') ? "" : "."));
  }

  static std::string Shown(const Token& token) {
    return token.kind == TokenKind::kEnd ? std::string("the end") : "\"" + token.text + "\"";
  }

  void Advance() {
    while (at_ < text_.size() && std::strchr(" \t\r\n", text_[at_]) != nullptr && text_[at_] != 0) ++at_;
    token_ = {};
    token_.at = at_;
    if (at_ == text_.size()) return;
    const char c = text_[at_];
    if (IsDigit(c) || (c == '.' && at_ + 1 < text_.size() && IsDigit(text_[at_ + 1]))) return ReadNumber();
    if (c == '"' || c == '\'') return ReadQuoted(c);
    if (StartsName(c)) return ReadWord();
    ReadSymbol();
  }

  void ReadNumber() {
    token_.kind = TokenKind::kNumber;
    const auto result = std::from_chars(text_.data() + at_, text_.data() + text_.size(), token_.number);
    token_.text = text_.substr(at_, static_cast<std::size_t>(result.ptr - text_.data()) - at_);
    at_ += token_.text.size();
    if (result.ec != std::errc()) Fail(token_, "the number " + token_.text + " is out of range");
    if (at_ < text_.size() && StartsName(text_[at_]))
      Fail(token_, "a name cannot begin with a digit; put it in quotes");
  }

  void ReadQuoted(char quote) {
    token_.kind = quote == '"' ? TokenKind::kDoubleQuoted : TokenKind::kSingleQuoted;
    for (++at_;; ++at_) {
      if (at_ == text_.size()) Fail(token_, "a quote is opened and never closed");
      if (text_[at_] == quote) {
        if (at_ + 1 == text_.size() || text_[at_ + 1] != quote) break;
        ++at_;
      }
      token_.text += text_[at_];
    }
    ++at_;
  }

  void ReadWord() {
    token_.kind = TokenKind::kWord;
    while (at_ < text_.size() && (StartsName(text_[at_]) || IsDigit(text_[at_]) || text_[at_] == '.'))
      token_.text += text_[at_++];
  }

  void ReadSymbol() {
    token_.kind = TokenKind::kSymbol;
    const std::string_view two = text_.substr(at_, 2);
    if (two == "<>" || two == "<=" || two == ">=" || two == "==" || two == "!=") {
      token_.text = two == "==" ? "=" : two == "!=" ? "<>" : two;
      at_ += 2;
      return;
    }
    token_.text = text_[at_++];
    if (std::strchr("=<>+-*/^(),", token_.text[0]) == nullptr || token_.text[0] == 0)
      Fail(token_, "the character \"" + token_.text + "\" has no meaning here");
  }

  bool IsWord(std::string_view lower) const {
    return token_.kind == TokenKind::kWord && LowerText(token_.text) == lower;
  }
  bool IsSymbol(std::string_view symbol) const {
    return token_.kind == TokenKind::kSymbol && token_.text == symbol;
  }

  void Push(Expression::Step step, int change) {
    result_.steps_.push_back(step);
    height_ += change;
    result_.depth_ = std::max(result_.depth_, static_cast<std::size_t>(height_));
  }

  void Emit(const Operand& operand) {
    if (operand.kind == Operand::kText)
      Fail(operand.token, "the text " + Shown(operand.token) +
                              " is neither a variable nor compared with a variable" +
                              Suggestion(operand.token.text));
    if (operand.kind == Operand::kVariable) PushVariable(operand.variable);
  }

  void PushVariable(int variable) {
    result_.variables_.push_back(variable);
    Push({Op::kVariable, variable}, 1);
  }

  std::string Suggestion(const std::string& name) const {
    const std::string nearest = names_.NearestName(name);
    return nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?";
  }

  template <class Parse>
  Operand ParseChain(Parse parse, std::string_view word, Op op) {
    Operand left = parse();
    while (IsWord(word)) {
      Emit(left);
      left = {};
      Advance();
      Emit(parse());
      Push({op}, -1);
    }
    return left;
  }

  Operand ParseOr() {
    return ParseChain([this] { return ParseAnd(); }, "or", Op::kOr);
  }
  Operand ParseAnd() {
    return ParseChain([this] { return ParseNot(); }, "and", Op::kAnd);
  }

  Operand ParseNot() {
    if (!IsWord("not")) return ParseComparison();
    const Nesting nesting(*this);
    Advance();
    Emit(ParseNot());
    Push({Op::kNot}, 0);
    return {};
  }

  static std::optional<Op> ComparisonOf(const Token& token) {
    if (token.kind != TokenKind::kSymbol) return std::nullopt;
    if (token.text == "=") return Op::kEqual;
    if (token.text == "<>") return Op::kNotEqual;
    if (token.text == "<") return Op::kLess;
    if (token.text == "<=") return Op::kLessOrEqual;
    if (token.text == ">") return Op::kGreater;
    if (token.text == ">=") return Op::kGreaterOrEqual;
    return std::nullopt;
  }

  Operand ParseComparison() {
    Operand left = ParseSum();
    const std::optional<Op> op = ComparisonOf(token_);
    if (!op) return left;
    const Token opToken = token_;
    Advance();
    // The left side is settled only when the right one is known, but its step goes before the right one's.
    const std::size_t leftPlace = result_.steps_.size();
    if (left.kind != Operand::kEmitted) ++height_;
    Operand right = ParseSum();
    if (ComparisonOf(token_)) Fail(token_, "comparisons cannot be chained; join them with And");
    for (const auto& [side, other] : {std::pair(&left, &right), std::pair(&right, &left)}) {
      if (side->kind == Operand::kVariable && other->kind == Operand::kEmitted)
        result_.comparedWithNumbers_.push_back(side->variable);
    }
    const Expression::Step leftStep = SettleLeft(left, right, opToken);
    if (left.kind != Operand::kEmitted)
      result_.steps_.insert(result_.steps_.begin() + static_cast<std::ptrdiff_t>(leftPlace), leftStep);
    if (!EmitAsText(right, left, opToken)) Emit(right);
    Push({*op}, -1);
    return {};
  }

  Expression::Step SettleLeft(const Operand& left, const Operand& right, const Token& opToken) {
    if (left.kind == Operand::kEmitted) return {Op::kConstant};
    if (const double* value = TextFor(left, right, opToken)) return {Op::kConstant, 0, *value};
    if (left.kind == Operand::kText) Emit(left);  // fails
    result_.variables_.push_back(left.variable);
    return {Op::kVariable, left.variable};
  }

  bool EmitAsText(const Operand& text, const Operand& variable, const Token& opToken) {
    const double* value = TextFor(text, variable, opToken);
    if (value != nullptr) Push({Op::kConstant, 0, *value}, 1);
    return value != nullptr;
  }

  // The value that candidate means as a label of the variable on the other side, or null if it is none.
  const double* TextFor(const Operand& candidate, const Operand& other, const Token& opToken) const {
    const bool quoted =
        candidate.token.kind == TokenKind::kDoubleQuoted || candidate.token.kind == TokenKind::kSingleQuoted;
    if (!quoted || candidate.kind == Operand::kEmitted || other.kind != Operand::kVariable) return nullptr;
    const double* value = names_.ValueOfText(other.variable, candidate.token.text);
    if (value == nullptr && candidate.kind == Operand::kText) {
      const std::string nearest = names_.NearestText(other.variable, candidate.token.text);
      Fail(candidate.token, "the variable \"" + names_.NameOf(other.variable) + "\" has no value labelled " +
                                Shown(candidate.token) +
                                (nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?"));
    }
    if (value != nullptr && opToken.text != "=" && opToken.text != "<>")
      Fail(opToken, "texts can be compared with = and <> only");
    return value;
  }

  Operand ParseSum() {
    Operand left = ParseProduct();
    while (IsSymbol("+") || IsSymbol("-")) {
      const Op op = token_.text == "+" ? Op::kAdd : Op::kSubtract;
      left = ParseRight(left, op, [this] { return ParseProduct(); });
    }
    return left;
  }

  Operand ParseProduct() {
    Operand left = ParseSign();
    while (IsSymbol("*") || IsSymbol("/")) {
      const Op op = token_.text == "*" ? Op::kMultiply : Op::kDivide;
      left = ParseRight(left, op, [this] { return ParseSign(); });
    }
    return left;
  }

  template <class Parse>
  Operand ParseRight(const Operand& left, Op op, Parse parse) {
    Emit(left);
    Advance();
    Emit(parse());
    Push({op}, -1);
    return {};
  }

  Operand ParseSign() {
    if (!IsSymbol("-") && !IsSymbol("+")) return ParsePower();
    const Nesting nesting(*this);
    const bool negative = token_.text == "-";
    Advance();
    Emit(ParseSign());
    if (negative) Push({Op::kNegate}, 0);
    return {};
  }

  Operand ParsePower() {
    Operand base = ParsePrimary();
    if (!IsSymbol("^")) return base;
    const Nesting nesting(*this);
    return ParseRight(base, Op::kPower, [this] { return ParseSign(); });
  }

  Operand ParsePrimary() {
    const Token token = token_;
    switch (token.kind) {
      case TokenKind::kNumber:
        Advance();
        Push({Op::kConstant, 0, token.number}, 1);
        return {};
      case TokenKind::kDoubleQuoted: {
        Advance();
        const int variable = names_.FindVariable(token.text);
        return {variable != 0 ? Operand::kVariable : Operand::kText, variable, token};
      }
      case TokenKind::kSingleQuoted:
        Advance();
        return {Operand::kText, 0, token};
      case TokenKind::kWord:
        return ParseWord(token);
      default:
        break;
    }
    if (!IsSymbol("("))
      Fail(token, token.kind == TokenKind::kEnd ? "a value is missing at the end"
                                                : "a value should stand before " + Shown(token));
    const Nesting nesting(*this);
    Advance();
    const Operand inner = ParseOr();
    Close();
    return inner;
  }

  void Close() {
    if (!IsSymbol(")")) Fail(token_, "a closing parenthesis should stand before " + Shown(token_));
    Advance();
  }

  Operand ParseWord(const Token& token) {
    Advance();
    if (IsSymbol("(")) return ParseFunction(token);
    const std::string lower = LowerText(token.text);
    if (lower == "and" || lower == "or" || lower == "not")
      Fail(token, "a value should stand before " + Shown(token));
    if (const int variable = names_.FindVariable(token.text); variable != 0)
      return {Operand::kVariable, variable, token};
    if (lower == "v0") {
      Push({Op::kCaseNumber}, 1);
      return {};
    }
    Fail(token, "there is no variable " + Shown(token) + Suggestion(token.text));
  }

  Operand ParseFunction(const Token& name) {
    struct Function {
      const char* name;
      Op op;
    };
    static constexpr std::array<Function, 13> kFunctions = {{{"ismd", Op::kIsMissing},
                                                             {"abs", Op::kAbs},
                                                             {"log", Op::kLog},
                                                             {"log10", Op::kLog10},
                                                             {"exp", Op::kExp},
                                                             {"sqrt", Op::kSqrt},
                                                             {"sin", Op::kSin},
                                                             {"cos", Op::kCos},
                                                             {"int", Op::kInt},
                                                             {"trunc", Op::kTrunc},
                                                             {"round", Op::kRound},
                                                             {"min", Op::kMinimum},
                                                             {"max", Op::kMaximum}}};
    const std::string lower = LowerText(name.text);
    const auto* function = std::find_if(kFunctions.begin(), kFunctions.end(),
                                        [&](const Function& f) { return lower == f.name; });
    if (function == kFunctions.end()) Fail(name, "there is no function " + Shown(name));
    const Nesting nesting(*this);
    Advance();
    Emit(ParseOr());
    const bool several = function->op == Op::kMinimum || function->op == Op::kMaximum;
    while (several && IsSymbol(",")) {
      Advance();
      Emit(ParseOr());
      Push({function->op}, -1);
    }
    Close();
    if (!several) Push({function->op}, 0);
    return {};
  }

  // Bounds the recursion, so that no text can exhaust the stack.
  struct Nesting {
    explicit Nesting(ExpressionCompiler& owner) : compiler(owner) {
      if (++compiler.nesting_ > kMaxNesting)
        compiler.Fail(compiler.token_, "the expression is nested too deeply");
    }
    ~Nesting() { --compiler.nesting_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ExpressionCompiler& compiler;
  };

  std::string_view text_;
  const ExpressionNames& names_;
  std::size_t at_ = 0;
  Token token_;
  Expression result_;
  std::ptrdiff_t height_ = 0;
  int nesting_ = 0;
};

Expression Expression::Compile(std::string_view text, const ExpressionNames& names) {
  return ExpressionCompiler(text, names).Compile();
}

Expression Expression::Compile(std::string_view text, const Table& table) {
  return Compile(text, TableExpressionSource(table));
}

void Expression::EvaluateBlock(const ExpressionColumns& columns, std::int64_t firstCase, std::size_t count,
                               double* out) {
  if (stack_.empty()) stack_.resize(depth_ * kSlice);
  while (count > 0) {
    const std::size_t slice = std::min(count, kSlice);
    EvaluateSlice(columns, firstCase, slice);
    for (std::size_t i = 0; i < slice; ++i) out[i] = stack_[i] == stack_[i] ? stack_[i] : kMissing;
    out += slice;
    firstCase += static_cast<std::int64_t>(slice);
    count -= slice;
  }
}

void Expression::EvaluateBlock(const Table& table, std::int64_t firstCase, std::size_t count, double* out) {
  EvaluateBlock(TableExpressionSource(table), firstCase, count, out);
}

void Expression::EvaluateSlice(const ExpressionColumns& columns, std::int64_t firstCase, std::size_t count) {
  std::size_t height = 0;  // slices on the stack
  for (const Step& step : steps_) {
    double* const next = stack_.data() + height * kSlice;
    double* const top = height >= 1 ? next - kSlice : nullptr;
    double* const below = height >= 2 ? top - kSlice : nullptr;
    if (step.op <= Op::kCaseNumber) ++height;
    if (step.op >= Op::kAdd && step.op <= Op::kOr) --height;
    switch (step.op) {
      case Op::kConstant:
        std::fill_n(next, count, step.constant);
        break;
      case Op::kVariable:
        columns.Read(step.variable, firstCase, count, next);
        break;
      case Op::kCaseNumber:
        for (std::size_t i = 0; i < count; ++i)
          next[i] = static_cast<double>(firstCase) + static_cast<double>(i) + 1;
        break;
      case Op::kAdd:
        Binary(below, top, count, [](double a, double b) { return Checked(a + b); });
        break;
      case Op::kSubtract:
        Binary(below, top, count, [](double a, double b) { return Checked(a - b); });
        break;
      case Op::kMultiply:
        Binary(below, top, count, [](double a, double b) { return Checked(a * b); });
        break;
      // x / 0 is infinite or NaN, so Checked makes it missing.
      case Op::kDivide:
        Binary(below, top, count, [](double a, double b) { return Checked(a / b); });
        break;
      case Op::kPower:
        // pow(1, NaN) and pow(NaN, 0) are numbers; a missing operand is stronger here.
        Binary(below, top, count,
               [](double a, double b) { return EitherMissing(a, b) ? kNan : Checked(std::pow(a, b)); });
        break;
      case Op::kMinimum:
        Binary(below, top, count,
               [](double a, double b) { return EitherMissing(a, b) ? kNan : std::min(a, b); });
        break;
      case Op::kMaximum:
        Binary(below, top, count,
               [](double a, double b) { return EitherMissing(a, b) ? kNan : std::max(a, b); });
        break;
      case Op::kEqual:
        Compare(below, top, count, Near);
        break;
      case Op::kNotEqual:
        Compare(below, top, count, [](double a, double b) { return !Near(a, b); });
        break;
      case Op::kLess:
        Compare(below, top, count, [](double a, double b) { return a < b && !Near(a, b); });
        break;
      case Op::kLessOrEqual:
        Compare(below, top, count, [](double a, double b) { return a < b || Near(a, b); });
        break;
      case Op::kGreater:
        Compare(below, top, count, [](double a, double b) { return a > b && !Near(a, b); });
        break;
      case Op::kGreaterOrEqual:
        Compare(below, top, count, [](double a, double b) { return a > b || Near(a, b); });
        break;
      case Op::kAnd:
        Binary(below, top, count, [](double a, double b) {
          return a == 0 || b == 0 ? 0.0 : (EitherMissing(a, b) ? kNan : 1.0);
        });
        break;
      case Op::kOr:
        Binary(below, top, count, [](double a, double b) {
          const bool eitherTrue = (a == a && a != 0) || (b == b && b != 0);
          return eitherTrue ? 1.0 : (EitherMissing(a, b) ? kNan : 0.0);
        });
        break;
      case Op::kNegate:
        Unary(top, count, [](double a) { return -a; });
        break;
      case Op::kNot:
        Unary(top, count, [](double a) { return a != a ? kNan : (a == 0 ? 1.0 : 0.0); });
        break;
      case Op::kIsMissing:
        Unary(top, count, [](double a) { return a != a ? 1.0 : 0.0; });
        break;
      case Op::kAbs:
        Unary(top, count, [](double a) { return std::fabs(a); });
        break;
      case Op::kLog:
        Unary(top, count, [](double a) { return a > 0 ? std::log(a) : kNan; });
        break;
      case Op::kLog10:
        Unary(top, count, [](double a) { return a > 0 ? std::log10(a) : kNan; });
        break;
      case Op::kExp:
        Unary(top, count, [](double a) { return Checked(std::exp(a)); });
        break;
      case Op::kSqrt:
        Unary(top, count, [](double a) { return a >= 0 ? std::sqrt(a) : kNan; });
        break;
      case Op::kSin:
        Unary(top, count, [](double a) { return std::sin(a); });
        break;
      case Op::kCos:
        Unary(top, count, [](double a) { return std::cos(a); });
        break;
      case Op::kInt:
        Unary(top, count, [](double a) { return std::floor(a); });
        break;
      case Op::kTrunc:
        Unary(top, count, [](double a) { return std::trunc(a); });
        break;
      case Op::kRound:
        // Not round: some C libraries add a half and cut, which makes 1 of the double just below a half.
        Unary(top, count, [](double a) {
          const double whole = std::trunc(a);
          return std::fabs(a - whole) >= 0.5 ? whole + std::copysign(1.0, a) : whole;
        });
        break;
    }
  }
}

int TableExpressionSource::FindVariable(std::string_view name) const {
  return velmora::FindVariable(table_, name);
}

std::string TableExpressionSource::NearestName(std::string_view name) const {
  std::vector<std::string_view> names;
  for (const Column& column : table_.columns) names.push_back(column.name);
  const int nearest = velmora::NearestText(name, names);
  return nearest < 0 ? "" : std::string(names[static_cast<std::size_t>(nearest)]);
}

std::string TableExpressionSource::NameOf(int variable) const { return table_.Variable(variable).name; }

const double* TableExpressionSource::ValueOfText(int variable, std::string_view text) const {
  return table_.Variable(variable).ValueOf(text);
}

std::string TableExpressionSource::NearestText(int variable, std::string_view text) const {
  std::vector<std::string_view> texts;
  for (const ValueLabel& label : table_.Variable(variable).labels) texts.push_back(label.text);
  const int nearest = velmora::NearestText(text, texts);
  return nearest < 0 ? "" : std::string(texts[static_cast<std::size_t>(nearest)]);
}

void TableExpressionSource::Read(int variable, std::int64_t firstCase, std::size_t count, double* out) const {
  const Column& column = table_.Variable(variable);
  const MissingRange missing(column.missingCode);
  const double* values = column.values.data() + firstCase;
  for (std::size_t i = 0; i < count; ++i) out[i] = missing.Contains(values[i]) ? kNan : Checked(values[i]);
}

}  // namespace velmora
