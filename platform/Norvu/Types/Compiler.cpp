// From declarations and their layout to the operations that print a value.

#include "Norvu/Types/Program.h"

#include "Norvu/Quote.h"
#include "Norvu/Text.h"

#include <algorithm>
#include <map>
#include <optional>

namespace Norvu::Types {

namespace {

// What a description may ask for: a short one can name as much as two to the power of its nesting.
constexpr std::size_t kMostOperations = 100000;
constexpr std::uint64_t kMostVisits = 1000000; ///< of members, while compiling
constexpr std::size_t kMostText = 16U << 20;   ///< bytes of names and punctuation, kept for one style
/// Members and characters of a value's text that it may have for each byte, and besides.
constexpr std::uint64_t kMembersAByte = 32;
constexpr std::uint64_t kSpareMembers = 4096;
constexpr std::uint64_t kTextAByte = 1024;
constexpr std::uint64_t kSpareText = 1U << 20;

} // namespace

class Compiler {
public:
    Compiler(const Declarations& declarations, const Layout& layout, Program& program)
        : declarations_(declarations), layout_(layout), program_(program), json_(program.json_) {}

    void run() {
        const std::uint64_t bytes = layout_.sizeOf(declarations_.value);
        most_ = kMembersAByte * bytes + kSpareMembers;
        mostText_ = kTextAByte * bytes + kSpareText;
        show(wholeOf(declarations_));
        add({}, 0);
        // The texts move while they are gathered; from now on they stay.
        for (std::size_t i = 0; i < begins_.size(); ++i) {
            program_.operations_[i].before = std::string_view(program_.text_).substr(begins_[i], lengths_[i]);
        }
        for (const Spelled& name : spelled_) {
            program_.enumerations_[name.enumeration][name.index].text =
                std::string_view(program_.text_).substr(name.begin, name.length);
        }
    }

private:
    void text(std::string_view text) {
        pending_ += text;
        kept_ += text.size();
        said_ += times_ * text.size();
        if (said_ > mostText_ || kept_ > kMostText) {
            throw DescriptionError(1, "a value has far more text than bytes");
        }
    }

    void add(Operation operation, unsigned line) {
        if (program_.operations_.size() == kMostOperations) {
            throw DescriptionError(line, "too many fields");
        }
        begins_.push_back(program_.text_.size());
        lengths_.push_back(pending_.size());
        program_.text_ += pending_;
        pending_.clear();
        program_.operations_.push_back(operation);
        count(line, 1);
    }

    void count(unsigned line, std::uint64_t members) {
        visits_ += members;
        done_ += times_ * members;
        if (done_ > most_ || visits_ > kMostVisits) {
            throw DescriptionError(line, "a value has far more fields than bytes");
        }
    }

    /// Members of a structure, those without a name and of anonymous structures included.
    [[nodiscard]] std::uint64_t membersOf(TypeId id) const {
        std::uint64_t members = 0;
        for (const Member& member : declarations_.at(id).members) {
            const Kind kind = declarations_.at(member.type).kind;
            const bool anonymous = member.name.empty() && (kind == Kind::Struct || kind == Kind::Union);
            members += 1 + (anonymous ? membersOf(member.type) : 0);
        }
        return members;
    }

    void show(const Part& part) {
        const Type& type = declarations_.at(part.member.type);
        Operation operation;
        if (const std::optional<Field> field = fieldOf(declarations_, layout_, part)) {
            operation.step = Operation::Step::Show;
            operation.field = *field;
            operation.target = field->code == Field::Code::Enum ? enumeration(type) : 0;
            add(operation, part.member.line);
        } else if (type.kind == Kind::Array) {
            array(type, part);
        } else if (type.kind == Kind::Struct) {
            structure(type, part);
        } else if (const std::optional<Part> only = onlyPartOf(declarations_, layout_, part)) {
            count(part.member.line, 1);
            show(*only);
        } else {
            text(json_ ? "{}" : "{ }");
        }
    }

    void array(const Type& type, const Part& part) {
        const std::uint64_t size = layout_.sizeOf(type.element);
        const unsigned line = part.member.line;
        if (type.count == 0 || size == 0) {
            text(json_ ? "[]" : "[ ]");
            return;
        }
        text("[");
        const std::size_t begin = program_.operations_.size();
        Operation operation;
        operation.step = Operation::Step::Begin;
        operation.field.offset = static_cast<std::uint32_t>(part.offset);
        operation.count = type.count;
        add(operation, line);
        const std::uint64_t outer = times_;
        times_ = std::min(times_ * type.count, most_ + 1);
        if (!json_) {
            text(" ");
        }
        Part element = elementOf(declarations_, layout_, part, 0);
        element.offset = 0; // each element's operations count from its own begin
        show(element);
        // What stands behind an element's last field comes before the jump back.
        if (!pending_.empty()) {
            addLiteral(line);
        }
        if (json_) {
            text(",");
        }
        Operation end;
        end.step = Operation::Step::End;
        end.field.size = static_cast<std::uint32_t>(size);
        end.target = static_cast<std::uint32_t>(begin + 1);
        add(end, line);
        times_ = outer;
        program_.operations_[begin].target = static_cast<std::uint32_t>(program_.operations_.size() - 1);
        text(json_ ? "]" : " ]");
    }

    /// Text on its own, as a field of no bytes.
    void addLiteral(unsigned line) {
        Operation literal;
        literal.step = Operation::Step::Literal;
        add(literal, line);
    }

    void structure(const Type& type, const Part& part) {
        if (!json_) {
            text(Norvu::safeText(type.name));
        }
        text("{");
        count(part.member.line, membersOf(part.member.type));
        bool first = true;
        for (const Part& inner : partsOf(declarations_, layout_, part)) {
            name(inner.member.name, first);
            first = false;
            show(inner);
        }
        text(json_ ? "}" : " }");
    }

    /// Names come from a file that anyone may have written.
    void name(const std::string& name, bool first) {
        if (!json_) {
            text(" " + Norvu::safeText(name) + ": ");
            return;
        }
        std::string quoted;
        appendJsonString(quoted, name);
        text((first ? "" : ",") + quoted + ":");
    }

    std::uint32_t enumeration(const Type& type) {
        const auto known = enumerations_.find(&type);
        if (known != enumerations_.end()) {
            return known->second;
        }
        const auto number = static_cast<std::uint32_t>(program_.enumerations_.size());
        std::vector<const Enumerator*> sorted;
        for (const Enumerator& enumerator : type.enumerators) {
            sorted.push_back(&enumerator);
        }
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const Enumerator* left, const Enumerator* right) { return left->value < right->value; });
        std::vector<Program::Name> names;
        for (const Enumerator* const enumerator : sorted) {
            names.push_back({enumerator->value, {}});
        }
        program_.enumerations_.push_back(std::move(names));
        for (std::size_t i = 0; i < sorted.size(); ++i) {
            spell(sorted[i]->name, number, i);
        }
        return enumerations_[&type] = number;
    }

    /// Keeps a name in the program's own text; where, is known when the text no longer moves.
    void spell(const std::string& name, std::uint32_t enumeration, std::size_t index) {
        spelled_.push_back({program_.text_.size(), name.size(), enumeration, index});
        program_.text_ += name;
    }

    struct Spelled {
        std::size_t begin;
        std::size_t length;
        std::uint32_t enumeration;
        std::size_t index;
    };

    const Declarations& declarations_;
    const Layout& layout_;
    Program& program_;
    bool json_;
    std::string pending_; ///< text before the next operation
    std::vector<std::size_t> begins_;
    std::vector<std::size_t> lengths_;
    std::vector<Spelled> spelled_;
    std::map<const Type*, std::uint32_t> enumerations_;
    std::uint64_t times_ = 1; ///< how often the operations that are added now are run
    std::uint64_t done_ = 0;
    std::uint64_t visits_ = 0;
    std::uint64_t most_ = 0;
    std::size_t kept_ = 0;
    std::uint64_t said_ = 0;
    std::uint64_t mostText_ = 0;
};

Program::Program(const Declarations& declarations, const Layout& layout, Platform::ValueStyle style)
    : json_(style == Platform::ValueStyle::Json) {
    Compiler(declarations, layout, *this).run();
}

} // namespace Norvu::Types
