// Conditions on the values of a frame, such as `total_gain>4000 and not mode=AUTO`:
//
//   condition  = all { "or" all }
//   all        = one { "and" one }
//   one        = "not" one | "(" condition ")" | comparison
//   comparison = operand ("=" | "==" | "!=" | "<" | "<=" | ">" | ">=") operand
//   operand    = NAME | number | word | "text" | 'text'
//
// At least one side of a comparison is a NAME, and its field decides about the other side: beside
// texts it is a text, beside numbers a number, beside numbers of an enum a number or its name.
// Quotation marks do not change this, but a word in them is never a NAME. Names and words end at a
// space or at one of ( ) < > = ! " '.
//
// Threads: one thread at a time uses a value. Errors: std::bad_alloc.
#pragma once

#include "tags/Problem.h"
#include "tree/read/FrameValues.h"
#include "tree/read/ValueName.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tyktree {

/// A problem in a condition's text, and its place.
struct ConditionProblem {
    size_t at = 0;        ///< byte of the text, from 0
    std::string message;  ///< "expected a comparison, found the end"
};

/// A condition. Parse it once, and bind a copy of it to each tree.
class Condition {
public:
    using Resolve = std::function<tyktags::Result<ValueName>(std::string_view name)>;
    /// The value of a name by its index in names(); null while it has not been read.
    using ValueAt = std::function<const FrameValue*(size_t place)>;

    /// Parses `text` without resolving its names.
    static std::variant<Condition, ConditionProblem> parse(std::string_view text);

    /// Resolves the names. Call it once. The problem is that of the resolver, or the reason why a
    /// value cannot be compared.
    std::optional<ConditionProblem> bind(const Resolve& resolve);

    /// The names whose values a bound condition needs, each once.
    const std::vector<ValueName>& names() const { return names_; }

    /// Whether the condition holds; none while it depends on values that have not been read. A
    /// comparison with an absent value is false.
    std::optional<bool> holds(const ValueAt& valueAt) const;

    enum class Kind { kAnd, kOr, kNot, kComparison };
    enum class Relation { kEqual, kUnequal, kLess, kLessEqual, kGreater, kGreaterEqual };

    /// One side of a comparison: a constant, or a NAME.
    struct Operand {
        size_t at = 0;
        std::string text;
        tyktags::Value constant;  ///< nothing if the side is a NAME
        bool isWord = false;      ///< may be a NAME: neither in quotation marks nor a number
        size_t place = 0;         ///< index of the NAME in names(), after bind()
    };

    struct Node {
        Kind kind = Kind::kComparison;
        std::vector<size_t> parts;  ///< indices of nodes; a comparison has none
        Relation relation = Relation::kEqual;
        Operand left;
        Operand right;
    };

private:
    std::optional<ConditionProblem> bind(const Resolve& resolve, Node& node);
    /// Makes a constant of an operand that is no NAME, for comparison with the values of the NAME
    /// beside it. `own` is the NAME that the operand may be instead.
    static std::optional<ConditionProblem> bindConstant(const ValueName& beside, Operand& operand,
                                                        std::optional<ValueName>& own);
    std::optional<bool> holds(const Node& node, const ValueAt& valueAt) const;
    std::optional<bool> compares(const Node& node, const ValueAt& valueAt) const;
    size_t placeOf(ValueName name);

    std::vector<Node> nodes_;  ///< the last one is the root
    std::vector<ValueName> names_;
};

}  // namespace tyktree
