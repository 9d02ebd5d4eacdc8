// From declarations and their layout to the operations that print a value.

#include "Norvu/Types/Program.h"

#include <algorithm>
#include <map>

namespace Norvu::Types {

namespace {

constexpr std::size_t kMostOperations = 100000;
/// Fields that a value may have without having as many bytes.
constexpr std::uint64_t kSpareFields = 4096;

} // namespace

class Compiler {
public:
    Compiler(const Declarations& declarations, const Layout& layout, Program& program)
        : declarations_(declarations), layout_(layout), program_(program), json_(program.json_) {}

    void run() {
        const std::uint64_t bytes = layout_.sizeOf(declarations_.value);
        most_ = 16 * bytes + kSpareFields;
        Member whole;
        whole.line = declarations_.at(declarations_.value).line;
        whole.type = declarations_.value;
        value(declarations_.value, whole, 0, 0);
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
    void text(std::string_view text) { pending_ += text; }

    void add(Operation operation, unsigned line) {
        if (program_.operations_.size() == kMostOperations) {
            throw DescriptionError(line, "too many fields");
        }
        begins_.push_back(program_.text_.size());
        lengths_.push_back(pending_.size());
        program_.text_ += pending_;
        pending_.clear();
        program_.operations_.push_back(operation);
        done_ += times_;
        if (done_ > most_) {
            throw DescriptionError(line, "a value has far more fields than bytes");
        }
    }

    [[nodiscard]] static bool hasShape(const Notes& notes) {
        return notes.ipv4 || notes.ipv6 || notes.mac || notes.string;
    }

    void value(TypeId id, const Member& member, std::uint64_t offset, std::uint32_t bit) {
        const Type& type = declarations_.at(id);
        const std::uint64_t size = layout_.sizeOf(id);
        const bool bytes = type.kind == Kind::Array && isByte(type.element);
        if (hasShape(member.notes) && (type.kind != Kind::Array || bytes)) {
            shaped(member, offset, size, bytes || type.kind == Kind::Character);
            return;
        }
        switch (type.kind) {
        case Kind::Array:
            if (declarations_.at(type.element).kind == Kind::Character && !member.notes.hex) {
                field(Operation::Code::Text, offset, size, member.line);
            } else if (bytes && member.notes.hex) {
                field(Operation::Code::Bytes, offset, size, member.line);
            } else {
                array(type, member, offset);
            }
            break;
        case Kind::Struct:
            structure(id, member, offset);
            break;
        case Kind::Union:
            onlyMember(id, member, offset);
            break;
        default:
            scalar(type, member, offset, bit, size);
        }
    }

    [[nodiscard]] bool isByte(TypeId id) const {
        const Type& type = declarations_.at(id);
        return (type.kind == Kind::Integer || type.kind == Kind::Character) && layout_.sizeOf(id) == 1;
    }

    void field(Operation::Code code, std::uint64_t offset, std::uint64_t size, unsigned line) {
        Operation operation;
        operation.code = code;
        operation.offset = static_cast<std::uint32_t>(offset);
        operation.size = static_cast<std::uint32_t>(size);
        add(operation, line);
    }

    /// A field that an annotation says how to show, whatever its type is: addresses and text are bytes in the order of memory.
    void shaped(const Member& member, std::uint64_t offset, std::uint64_t size, bool bytes) {
        const auto need = [&](const char* note, std::uint64_t wanted) {
            if (size != wanted || member.bits) {
                throw DescriptionError(member.line, std::string("/* ") + note + " */ needs a field of " +
                                                        std::to_string(wanted) + " bytes");
            }
        };
        if (member.notes.ipv4) {
            need("ipv4", 4);
            field(Operation::Code::Ipv4, offset, size, member.line);
        } else if (member.notes.ipv6) {
            need("ipv6", 16);
            field(Operation::Code::Ipv6, offset, size, member.line);
        } else if (member.notes.mac) {
            need("mac", 6);
            field(Operation::Code::Mac, offset, size, member.line);
        } else {
            if (!bytes) {
                throw DescriptionError(member.line, "/* string */ needs an array of bytes");
            }
            field(Operation::Code::Text, offset, size, member.line);
        }
    }

    void array(const Type& type, const Member& member, std::uint64_t offset) {
        const std::uint64_t size = layout_.sizeOf(type.element);
        if (type.count == 0 || size == 0) {
            text(json_ ? "[]" : "[ ]");
            return;
        }
        text("[");
        const std::size_t begin = program_.operations_.size();
        Operation operation;
        operation.code = Operation::Code::Begin;
        operation.offset = static_cast<std::uint32_t>(offset);
        operation.count = type.count;
        add(operation, member.line);
        const std::uint64_t outer = times_;
        times_ = std::min(times_ * type.count, most_ + 1);
        if (!json_) {
            text(" ");
        }
        value(type.element, member, 0, 0);
        // What stands behind an element's last field comes before the jump back.
        if (!pending_.empty()) {
            addLiteral(member.line);
        }
        if (json_) {
            text(",");
        }
        Operation end;
        end.code = Operation::Code::End;
        end.size = static_cast<std::uint32_t>(size);
        end.target = static_cast<std::uint32_t>(begin + 1);
        add(end, member.line);
        times_ = outer;
        program_.operations_[begin].target = static_cast<std::uint32_t>(program_.operations_.size() - 1);
        text(json_ ? "]" : " ]");
    }

    /// Text on its own, as a field of no bytes.
    void addLiteral(unsigned line) {
        Operation literal;
        literal.code = Operation::Code::Literal;
        add(literal, line);
    }

    void structure(TypeId id, const Member& member, std::uint64_t offset) {
        const Type& type = declarations_.at(id);
        if (!json_) {
            text(type.name);
        }
        text("{");
        bool first = true;
        members(id, member.notes, offset, first);
        text(json_ ? "}" : " }");
    }

    void members(TypeId id, const Notes& notes, std::uint64_t offset, bool& first) {
        const Type& type = declarations_.at(id);
        const std::size_t shown =
            type.kind == Kind::Union ? std::min<std::size_t>(1, type.members.size()) : type.members.size();
        for (std::size_t i = 0; i < shown; ++i) {
            Member its = type.members[i];
            its.notes.bigEndian = its.notes.bigEndian || notes.bigEndian;
            const Place& place = layout_.placesOf(id)[i];
            const Kind kind = declarations_.at(its.type).kind;
            if (its.name.empty()) {
                if (!its.bits && (kind == Kind::Struct || kind == Kind::Union)) {
                    members(its.type, its.notes, offset + place.offset, first); // its members count as the outer's
                }
                continue;
            }
            named(its, offset + place.offset, place.bit, first);
        }
    }

    void named(const Member& member, std::uint64_t offset, std::uint32_t bit, bool& first) {
        if (json_) {
            text(first ? "\"" : ",\"");
            text(member.name);
            text("\":");
        } else {
            text(" ");
            text(member.name);
            text(": ");
        }
        first = false;
        value(member.type, member, offset, bit);
    }

    /// A union is shown as its first member.
    void onlyMember(TypeId id, const Member& member, std::uint64_t offset) {
        const Type& type = declarations_.at(id);
        if (type.members.empty()) {
            text(json_ ? "{}" : "{ }");
            return;
        }
        Member first = type.members.front();
        first.notes.bigEndian = first.notes.bigEndian || member.notes.bigEndian;
        const Place& place = layout_.placesOf(id).front();
        value(first.type, first, offset + place.offset, place.bit);
    }

    void scalar(const Type& type, const Member& member, std::uint64_t offset, std::uint32_t bit, std::uint64_t size) {
        Operation operation;
        operation.offset = static_cast<std::uint32_t>(offset);
        operation.size = static_cast<std::uint32_t>(size);
        operation.isSigned = type.isSigned;
        operation.bigEndian = (type.bigEndian || member.notes.bigEndian) && size > 1;
        if (member.bits) {
            if (operation.bigEndian && member.notes.bigEndian) {
                throw DescriptionError(member.line, "/* be */ of a bit-field is not supported");
            }
            operation.bigEndian = false;
            operation.bit = static_cast<std::uint8_t>(bit);
            operation.bits = static_cast<std::uint8_t>(*member.bits);
        }
        using Code = Operation::Code;
        switch (type.kind) {
        case Kind::Bool:
            operation.code = Code::Bool;
            break;
        case Kind::Character:
            operation.code = member.bits ? Code::Signed : Code::Text;
            break;
        case Kind::Float:
            operation.code = size == 4 ? Code::Float : size == 8 ? Code::Double : Code::LongDouble;
            break;
        case Kind::Enum:
            operation.code = Code::Enum;
            operation.target = enumeration(type);
            break;
        case Kind::Pointer:
            operation.code = Code::Pointer;
            break;
        case Kind::Opaque:
            operation.code = Code::Bytes;
            break;
        default:
            operation.code = type.isSigned ? Code::Signed : Code::Unsigned;
        }
        if (type.kind == Kind::Integer || type.kind == Kind::Enum) {
            if (member.notes.time) {
                operation.code = Code::Time;
            } else if (member.notes.hex) {
                operation.code = Code::HexNumber;
            }
        } else if (member.notes.time) {
            throw DescriptionError(member.line, "/* time */ needs an integer");
        }
        add(operation, member.line);
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
    std::uint64_t most_ = 0;
};

Program::Program(const Declarations& declarations, const Layout& layout, Platform::ValueStyle style)
    : json_(style == Platform::ValueStyle::Json) {
    Compiler(declarations, layout, *this).run();
}

} // namespace Norvu::Types
