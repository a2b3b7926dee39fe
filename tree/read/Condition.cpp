#include "tree/read/Condition.h"

#include "tags/FieldCodec.h"
#include "tags/NearestNames.h"
#include "tags/Words.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tyktree {

namespace {

using Kind = Condition::Kind;
using Node = Condition::Node;
using Operand = Condition::Operand;
using Relation = Condition::Relation;
using tyktags::Value;

constexpr size_t kShownNames = 8;  ///< of an enum, if no name is similar
constexpr size_t kDeepest = 100;   ///< nesting of "not" and parentheses
constexpr std::string_view kSpaces = " \t\n";
constexpr std::string_view kWordEnds = " \t\n()<>=!\"'";
constexpr const char* kOperandWords = "a name, a number or a text";
constexpr const char* kRelationWords = "=, !=, <, <=, > or >=";

struct RelationText {
    std::string_view text;
    Relation relation;
};

// A longer relation precedes the one with which it begins.
constexpr std::array<RelationText, 7> kRelations = {{{"==", Relation::kEqual},
                                                     {"!=", Relation::kUnequal},
                                                     {"<=", Relation::kLessEqual},
                                                     {">=", Relation::kGreaterEqual},
                                                     {"=", Relation::kEqual},
                                                     {"<", Relation::kLess},
                                                     {">", Relation::kGreater}}};

/// A piece of the text.
struct Token {
    enum class Kind { kEnd, kOpen, kClose, kRelation, kWord, kQuoted, kStray };
    Kind kind = Kind::kEnd;
    size_t at = 0;
    std::string_view text;  ///< of a quoted text without its quotation marks
    Relation relation = Relation::kEqual;

    bool isWord(std::string_view word) const { return kind == Kind::kWord && text == word; }
};

Token tokenAt(std::string_view text, size_t at) {
    at = std::min(text.find_first_not_of(kSpaces, at), text.size());
    const std::string_view rest = text.substr(at);
    if (rest.empty()) return {Token::Kind::kEnd, at, rest};
    for (const RelationText& relation : kRelations) {
        if (rest.substr(0, relation.text.size()) != relation.text) continue;
        return {Token::Kind::kRelation, at, rest.substr(0, relation.text.size()),
                relation.relation};
    }
    const char first = rest.front();
    if (first == '(') return {Token::Kind::kOpen, at, rest.substr(0, 1)};
    if (first == ')') return {Token::Kind::kClose, at, rest.substr(0, 1)};
    if (first == '"' || first == '\'') {
        const size_t end = rest.find(first, 1);
        if (end == std::string_view::npos) return {Token::Kind::kStray, at, rest};
        return {Token::Kind::kQuoted, at, rest.substr(1, end - 1)};
    }
    const size_t end = std::min(rest.find_first_of(kWordEnds), rest.size());
    if (end == 0) return {Token::Kind::kStray, at, rest.substr(0, 1)};
    return {Token::Kind::kWord, at, rest.substr(0, end)};
}

size_t endOf(const Token& token) {
    return token.at + token.text.size() + (token.kind == Token::Kind::kQuoted ? 2 : 0);
}

std::string wordsOf(const Token& token) {
    if (token.kind == Token::Kind::kEnd) return "the end";
    const bool isOpenQuote = token.kind == Token::Kind::kStray && token.text.front() != '!';
    if (isOpenQuote) return "a quotation mark without its closing one";
    return tyktags::quoted(token.text);
}

/// A parser by recursive descent. It stops at the first problem.
class Parser {
public:
    explicit Parser(std::string_view text) : text_(text), token_(tokenAt(text, 0)) {}

    /// The nodes, the root last. They are valid if problem() is none afterwards.
    std::vector<Node> parse() {
        parseCondition();
        if (!problem_ && token_.kind != Token::Kind::kEnd) expect("and, or or the end");
        return std::move(nodes_);
    }

    const std::optional<ConditionProblem>& problem() const { return problem_; }

private:
    void expect(const std::string& what) {
        if (problem_) return;
        problem_ = {token_.at, "expected " + what + ", found " + wordsOf(token_)};
    }

    void advance() { token_ = tokenAt(text_, endOf(token_)); }

    size_t add(Node node) {
        nodes_.push_back(std::move(node));
        return nodes_.size() - 1;
    }

    size_t parseCondition() {
        return parseList(Kind::kOr, "or", [this] { return parseAll(); });
    }

    size_t parseAll() {
        return parseList(Kind::kAnd, "and", [this] { return parseOne(); });
    }

    template <typename ParsePart>
    size_t parseList(Kind kind, std::string_view between, ParsePart parsePart) {
        Node list;
        list.kind = kind;
        list.parts.push_back(parsePart());
        while (!problem_ && token_.isWord(between)) {
            advance();
            list.parts.push_back(parsePart());
        }
        return list.parts.size() == 1 ? list.parts.front() : add(std::move(list));
    }

    size_t parseOne() {
        const bool negated = token_.isWord("not");
        if (!negated && token_.kind != Token::Kind::kOpen) return parseComparison();
        if (++depth_ > kDeepest) {
            problem_ = {token_.at, "expected at most " + std::to_string(kDeepest) +
                                       " parentheses in each other, found more"};
            return 0;
        }
        advance();
        const size_t inner = negated ? parseOne() : parseCondition();
        --depth_;
        if (!negated) {
            if (token_.kind != Token::Kind::kClose) expect("and, or or )");
            advance();
            return inner;
        }
        Node node;
        node.kind = Kind::kNot;
        node.parts.push_back(inner);
        return add(std::move(node));
    }

    size_t parseComparison() {
        Node node;
        node.left = parseOperand();
        if (token_.kind != Token::Kind::kRelation) expect(kRelationWords);
        node.relation = token_.relation;
        advance();
        node.right = parseOperand();
        return add(std::move(node));
    }

    Operand parseOperand() {
        const bool isKeyword = token_.isWord("and") || token_.isWord("or") || token_.isWord("not");
        const bool isQuoted = token_.kind == Token::Kind::kQuoted;
        if ((token_.kind != Token::Kind::kWord && !isQuoted) || isKeyword) expect(kOperandWords);
        Operand operand;
        operand.at = token_.at;
        operand.text = token_.text;
        const auto number = isQuoted ? std::nullopt : tyktags::parseNumber(token_.text);
        if (isQuoted) operand.constant = operand.text;
        if (number) operand.constant = *number;
        operand.isWord = !isQuoted && !number;
        if (!problem_) advance();
        return operand;
    }

    std::string_view text_;
    Token token_;
    std::vector<Node> nodes_;
    std::optional<ConditionProblem> problem_;
    size_t depth_ = 0;
};

bool hasTexts(const ValueName& name) {
    return name.field && name.field->type == FieldType::text;
}

/// The enum of the name's values; null if they have none.
const tyktags::TagEnum* enumOf(const ValueName& name) {
    return name.field ? name.field->enumeration.get() : nullptr;
}

Value toValue(const tyktags::WholeNumber& number) {
    if (!number.negative) return number.magnitude;
    return static_cast<int64_t>(0 - number.magnitude);
}

/// The number of the enum's name `word`.
tyktags::Result<Value> numberOf(const tyktags::TagEnum& values, const std::string& word) {
    if (const auto number = tyktags::numberOf(values, word)) return toValue(*number);
    if (const auto number = tyktags::parseNumber(word)) return *number;
    std::vector<std::string> names;
    for (const tyktags::EnumValue& value : values.values()) names.push_back(value.name);
    std::vector<std::string> nearest = tyktags::nearestNames(word, names);
    if (nearest.empty() && names.size() <= kShownNames) nearest = names;
    const std::string advice = tyktags::commaSeparated(nearest);
    return tyktags::Problem{"",
                            "a name or a number of the enum " + values.name() +
                                (advice.empty() ? "" : ", such as " + advice),
                            tyktags::quoted(word)};
}

/// Succeeds if the name's values can be compared. The problem has only a reason.
tyktags::Status checkComparable(const ValueName& name) {
    if (name.scene || name.source) return {};
    const std::string quoted = tyktags::quoted(name.name);
    if (!name.field) return tyktags::flaw("", "", quoted + " is a whole tag: name a field of it");
    if (tyktags::isSingle(*name.field)) return {};
    return tyktags::flaw("", "",
                         quoted + " has " + std::to_string(name.field->values()) +
                             " values: name one of them, such as " +
                             tyktags::elementName(name.name, name.field->shape(), 0));
}

/// The constant that `text` stands for in a comparison with the values of `beside`: a text if these
/// are texts, else a number, which may be given by its name.
tyktags::Result<Value> constantFor(const ValueName& beside, const std::string& text) {
    if (hasTexts(beside)) return Value(text);
    if (const tyktags::TagEnum* const values = enumOf(beside)) return numberOf(*values, text);
    if (const auto number = tyktags::parseNumber(text)) return *number;
    return tyktags::flaw("a number beside " + tyktags::quoted(beside.name), tyktags::quoted(text));
}

/// Whether the user probably means a number by a word that is not a NAME.
bool resemblesNumber(std::string_view word) {
    const size_t sign = word.substr(0, 1) == "-" || word.substr(0, 1) == "+" ? 1 : 0;
    const bool begins = word.substr(sign).find_first_of("0123456789") <= 1;
    return begins &&
           word.find_first_not_of("0123456789abcdefABCDEFxX.+-") == std::string_view::npos;
}

bool isOrder(Relation relation) {
    return relation != Relation::kEqual && relation != Relation::kUnequal;
}

template <typename Operands>
bool relate(Relation relation, const Operands& a, const Operands& b) {
    switch (relation) {
        case Relation::kEqual:
            return a == b;
        case Relation::kUnequal:
            return a != b;
        case Relation::kLess:
            return a < b;
        case Relation::kLessEqual:
            return a <= b;
        case Relation::kGreater:
            return a > b;
        case Relation::kGreaterEqual:
            break;
    }
    return a >= b;
}

/// The number, exact for every integer of 64 bits.
long double wideNumber(const Value& given) {
    const Value value = tyktags::withoutName(given);
    if (const auto* whole = std::get_if<int64_t>(&value)) return static_cast<long double>(*whole);
    if (const auto* natural = std::get_if<uint64_t>(&value)) {
        return static_cast<long double>(*natural);
    }
    return static_cast<long double>(std::get<double>(value));
}

bool isText(const Value& value) {
    return std::holds_alternative<std::string>(value);
}

bool relateValues(Relation relation, const Value& a, const Value& b) {
    const Value nothing;
    if (a == nothing || b == nothing) return false;
    if (isText(a) || isText(b)) {
        return relate(relation, tyktags::toText(a), tyktags::toText(b));
    }
    return relate(relation, wideNumber(a), wideNumber(b));
}

/// The operand's value in a frame; none while it has not been read.
std::optional<Value> valueOf(const Operand& operand, const Condition::ValueAt& valueAt) {
    if (!operand.isWord) return operand.constant;
    const FrameValue* const value = valueAt(operand.place);
    if (!value) return std::nullopt;
    return value->values.empty() ? Value() : value->values.front();
}

}  // namespace

std::variant<Condition, ConditionProblem> Condition::parse(std::string_view text) {
    Parser parser(text);
    Condition condition;
    condition.nodes_ = parser.parse();
    if (parser.problem()) return *parser.problem();
    return condition;
}

std::optional<ConditionProblem> Condition::bind(const Resolve& resolve) {
    names_.clear();
    for (Node& node : nodes_) {
        if (node.kind != Kind::kComparison) continue;
        if (auto problem = bind(resolve, node)) return problem;
    }
    return std::nullopt;
}

std::optional<ConditionProblem> Condition::bind(const Resolve& resolve, Node& node) {
    std::array<Operand*, 2> sides{&node.left, &node.right};
    std::array<std::optional<ValueName>, 2> names;
    std::optional<ConditionProblem> unknown;
    for (size_t i = 0; i < sides.size(); ++i) {
        if (!sides[i]->isWord) continue;
        tyktags::Result<ValueName> name = resolve(sides[i]->text);
        if (name.ok()) {
            names[i] = std::move(name.value());
        } else if (!unknown) {
            const bool isNumber = resemblesNumber(sides[i]->text);
            unknown = {sides[i]->at, isNumber ? "expected a decimal number within the range of a "
                                                "double, found " +
                                                    tyktags::quoted(sides[i]->text)
                                              : toLine(name.problem())};
        }
    }
    for (size_t i = 0; i < sides.size(); ++i) {
        const std::optional<ValueName>& beside = names[1 - i];
        if (!beside || !checkComparable(*beside).ok()) continue;
        if (auto problem = bindConstant(*beside, *sides[i], names[i])) return problem;
        if (!sides[i]->isWord && unknown && unknown->at == sides[i]->at) unknown.reset();
    }
    if (unknown) return unknown;
    if (!names[0] && !names[1]) {
        return ConditionProblem{node.left.at, "expected a name on one side, found none"};
    }
    for (size_t i = 0; i < sides.size(); ++i) {
        if (!names[i]) continue;
        const tyktags::Status comparable = checkComparable(*names[i]);
        if (!comparable.ok()) {
            return ConditionProblem{sides[i]->at, comparable.problem().reason};
        }
        const std::optional<ValueName>& beside = names[1 - i];
        if (hasTexts(*names[i]) && beside && !hasTexts(*beside)) {
            return ConditionProblem{sides[1 - i]->at,
                                    "expected texts beside " + tyktags::quoted(names[i]->name) +
                                        ", found the numbers " + tyktags::quoted(beside->name)};
        }
        if (hasTexts(*names[i]) && isOrder(node.relation)) {
            return ConditionProblem{sides[1 - i]->at,
                                    "expected = or != between texts, found another relation"};
        }
    }
    for (size_t i = 0; i < sides.size(); ++i) {
        if (names[i]) sides[i]->place = placeOf(std::move(*names[i]));
    }
    return std::nullopt;
}

std::optional<ConditionProblem> Condition::bindConstant(const ValueName& beside, Operand& operand,
                                                        std::optional<ValueName>& own) {
    const tyktags::Result<Value> constant = constantFor(beside, operand.text);
    if (own && (!enumOf(beside) || !constant.ok())) return std::nullopt;
    if (!constant.ok()) {
        // bind() reports an unknown word with the resolver's message, which suggests similar names.
        if (operand.isWord && !enumOf(beside)) return std::nullopt;
        return ConditionProblem{operand.at, toLine(constant.problem())};
    }
    operand.constant = constant.value();
    operand.isWord = false;
    own.reset();
    return std::nullopt;
}

size_t Condition::placeOf(ValueName name) {
    const auto at = std::find_if(names_.begin(), names_.end(), [&name](const ValueName& other) {
        return other.name == name.name;
    });
    const auto place = static_cast<size_t>(at - names_.begin());
    if (at == names_.end()) names_.push_back(std::move(name));
    return place;
}

std::optional<bool> Condition::holds(const ValueAt& valueAt) const {
    return holds(nodes_.back(), valueAt);
}

std::optional<bool> Condition::holds(const Node& node, const ValueAt& valueAt) const {
    if (node.kind == Kind::kComparison) return compares(node, valueAt);
    if (node.kind == Kind::kNot) {
        const std::optional<bool> inner = holds(nodes_[node.parts.front()], valueAt);
        return inner ? std::optional<bool>(!*inner) : std::nullopt;
    }
    // A part that is false decides "and"; a part that is true decides "or".
    const bool decisive = node.kind == Kind::kOr;
    bool isOpen = false;
    for (const size_t part : node.parts) {
        const std::optional<bool> held = holds(nodes_[part], valueAt);
        if (held == decisive) return decisive;
        isOpen = isOpen || !held;
    }
    return isOpen ? std::nullopt : std::optional<bool>(!decisive);
}

std::optional<bool> Condition::compares(const Node& node, const ValueAt& valueAt) const {
    const std::optional<Value> left = valueOf(node.left, valueAt);
    const std::optional<Value> right = valueOf(node.right, valueAt);
    if (!left || !right) return std::nullopt;
    return relateValues(node.relation, *left, *right);
}

}  // namespace tyktree
