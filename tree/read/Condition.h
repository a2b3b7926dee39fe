// Conditions on the values of a frame, such as `total_gain>4000 and not mode=AUTO`:
//
//   condition  = all { "or" all }
//   all        = one { "and" one }
//   one        = "not" one | "(" condition ")" | comparison
//   comparison = operand ("=" | "==" | "!=" | "<" | "<=" | ">" | ">=") operand
//   operand    = NAME | number | word | "text" | 'text'
//
// One side of a comparison at least is a NAME. A word is what stands for no NAME beside one whose
// values are texts or numbers of an enum. Names and words end at a space or at one of ( ) < > = ! "
// '.
//
// Threads: a value is used by one thread at a time.
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

/// What is wrong with a condition's text, and where.
struct ConditionProblem {
    size_t at = 0;        ///< byte of the text, from 0
    std::string message;  ///< "expected a comparison, found the end"
};

/// A condition. It is parsed once; a copy is bound to each tree that it is asked of.
class Condition {
public:
    using Resolve = std::function<tyktags::Result<ValueName>(std::string_view name)>;
    /// The value of a name by its place in names(); null while it has not been read.
    using ValueAt = std::function<const FrameValue*(size_t place)>;

    /// Parses `text`; what names stand for is not looked at.
    static std::variant<Condition, ConditionProblem> parse(std::string_view text);

    /// Resolves the names, once. The problem is the resolver's, or says why a value cannot be
    /// compared.
    std::optional<ConditionProblem> bind(const Resolve& resolve);

    /// What a bound condition has to know; each name once.
    const std::vector<ValueName>& names() const { return names_; }

    /// Whether the condition holds; none while it depends on values that have not been read. A
    /// comparison is false where a value is absent.
    std::optional<bool> holds(const ValueAt& valueAt) const;

    enum class Kind { kAnd, kOr, kNot, kComparison };
    enum class Relation { kEqual, kUnequal, kLess, kLessEqual, kGreater, kGreaterEqual };

    /// One side of a comparison: a constant, or a NAME.
    struct Operand {
        size_t at = 0;
        std::string text;
        tyktags::Value constant;  ///< nothing where the side is a NAME
        bool isWord = false;      ///< not in quotation marks, no number: a NAME or a word
        size_t place = 0;         ///< of the NAME, once it is bound
    };

    struct Node {
        Kind kind = Kind::kComparison;
        std::vector<size_t> parts;  ///< places among the nodes; a comparison has none
        Relation relation = Relation::kEqual;
        Operand left;
        Operand right;
    };

private:
    std::optional<ConditionProblem> bind(const Resolve& resolve, Node& node);
    /// Makes a constant of an operand that is a text or a number's name for the values beside it.
    static std::optional<ConditionProblem> bindWord(const ValueName& beside, Operand& operand,
                                                    std::optional<ValueName>& own);
    std::optional<bool> holds(const Node& node, const ValueAt& valueAt) const;
    std::optional<bool> compares(const Node& node, const ValueAt& valueAt) const;
    size_t placeOf(ValueName name);

    std::vector<Node> nodes_;  ///< the last one is the whole
    std::vector<ValueName> names_;
};

}  // namespace tyktree
