#include "Norvu/Exception.h"
#include "Norvu/Types/Description.h"
#include "Norvu/Types/Field.h"
#include "Norvu/Types/Program.h"
#include "writer/program/Arguments.h"
#include "writer/program/Encoder.h"
#include "writer/program/FieldValue.h"
#include "writer/program/Input.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace Halyx::Writer {

namespace {

using namespace Norvu::Types;

/// Columns whose places are remembered; the columns of a table are much fewer.
constexpr std::size_t kMostPlaces = 65536;

/// The columns of a record as the fields of a structure.
class DescribedEncoder : public Encoder {
public:
    DescribedEncoder(std::string typeName, Columns columns, const std::string& description,
                     std::optional<std::uint32_t> size)
        : typeName_(std::move(typeName)), columns_(std::move(columns)), type_(description, typeName_, size),
          isStructure_(startsWithStructure()), textTail_(findTextTail()) {
        // What could not be printed is not written: annotations that do not fit, far more text than bytes.
        (void)Program(type_.declarations(), type_.layout(), Norvu::Platform::ValueStyle::Json);
    }

    std::uint32_t valueSize() const override { return type_.size(); }

    void encode(const Record& record, bool dynamic, std::string& bytes) override {
        bytes.assign(type_.size(), '\0');
        const std::string value = valueColumn(record);
        bool any = false;
        for (std::size_t i = 0; i < record.names.size(); ++i) {
            const std::string& name = record.names[i];
            std::string_view path = name;
            if (!value.empty() && !takePrefix(path, value)) {
                continue;
            }
            const Place* const place = find(std::string(path));
            if (place == nullptr) {
                if (value.empty() && i == keyColumn(record)) {
                    continue; // it is no part of the value
                }
                throw BadLine("there is no field '" + name + "' in " + typeName_);
            }
            any = true;
            store(*place, name, record.fields[i], bytes);
        }
        if (!any) {
            throw BadLine(value.empty() ? "no column is a field of " + typeName_
                                        : "there is no column '" + value + "'");
        }
        if (dynamic && textTail_) {
            const std::size_t end = bytes.find_last_not_of('\0');
            bytes.resize(std::max<std::size_t>(*textTail_, end == std::string::npos ? 0 : end + 1));
        }
    }

private:
    struct Place {
        std::optional<Field> field; ///< none: the way leads to something that has parts
        const EnumNames* names = nullptr;
        bool isArray = false;
    };

    [[nodiscard]] std::size_t keyColumn(const Record& record) const {
        return columns_.key.empty() ? 0 : record.find(columns_.key);
    }

    /// The column that is the value, as a whole or with what is inside of it; empty when all columns are its fields.
    [[nodiscard]] std::string valueColumn(const Record& record) const {
        if (!columns_.value.empty() || isStructure_) {
            return columns_.value;
        }
        const std::size_t key = keyColumn(record);
        for (std::size_t i = 0; i < record.names.size(); ++i) {
            if (i != key) {
                return record.names[i].substr(0, record.names[i].find('['));
            }
        }
        throw BadLine("which column is the value? Say it with --value");
    }

    /// Whether `path` is `prefix` or inside of it; what is left of it then is the way from there.
    static bool takePrefix(std::string_view& path, std::string_view prefix) {
        if (path.substr(0, prefix.size()) != prefix) {
            return false;
        }
        path.remove_prefix(prefix.size());
        if (!path.empty() && path[0] != '.' && path[0] != '[') {
            return false;
        }
        path.remove_prefix(!path.empty() && path[0] == '.' ? 1 : 0);
        return true;
    }

    void store(const Place& place, const std::string& name, const Record::Field& input, std::string& bytes) const {
        if (!place.field) {
            if (input.kind != Record::Kind::Empty) {
                throw BadLine("field '" + name + "' has parts: name one of them, as in '" + name +
                              (place.isArray ? "[0]" : ".NAME") + "'");
            }
            return;
        }
        if (input.text.find('\0') != std::string::npos) { // where text would end when it is printed
            throw BadLine("a text with a NUL is no value of field '" + name + "' of " + typeName_);
        }
        auto* const value = static_cast<unsigned char*>(static_cast<void*>(bytes.data()));
        if (!storeField(*place.field, *place.names, input, value)) {
            throw BadLine("'" + (input.kind == Record::Kind::Null ? "null" : input.text) + "' is no value of field '" +
                          name + "' of " + typeName_);
        }
    }

    /// The place that a way leads to, from the value's begin; null when there is none.
    const Place* find(const std::string& path) {
        if (const auto known = places_.find(path); known != places_.end()) {
            return &known->second;
        }
        const std::optional<Part> part = follow(path);
        if (!part) {
            return nullptr;
        }
        if (places_.size() == kMostPlaces) {
            places_.clear();
        }
        return &places_
                    .emplace(path, Place{fieldOf(type_.declarations(), type_.layout(), *part), namesOf(*part),
                                         type_.declarations().at(part->member.type).kind == Kind::Array})
                    .first->second;
    }

    [[nodiscard]] std::optional<Part> follow(std::string_view path) const {
        const Declarations& declarations = type_.declarations();
        std::optional<Part> part = wholeOf(declarations);
        for (;;) {
            const Type& type = declarations.at(part->member.type);
            if (type.kind == Kind::Union && !fieldOf(declarations, type_.layout(), *part)) {
                part = onlyPartOf(declarations, type_.layout(), *part);
            } else if (path.empty()) {
                return part;
            } else if (fieldOf(declarations, type_.layout(), *part)) {
                return std::nullopt;
            } else {
                part = type.kind == Kind::Array ? element(*part, type, path) : member(*part, path);
            }
            if (!part) {
                return part;
            }
        }
    }

    [[nodiscard]] std::optional<Part> element(const Part& array, const Type& type, std::string_view& path) const {
        std::uint32_t index = 0;
        if (path[0] != '[') {
            return std::nullopt;
        }
        const auto [end, error] = std::from_chars(path.data() + 1, path.data() + path.size(), index);
        const auto length = static_cast<std::size_t>(end - path.data());
        if (error != std::errc{} || length == path.size() || *end != ']' || index >= type.count) {
            return std::nullopt;
        }
        path.remove_prefix(length + 1);
        path.remove_prefix(!path.empty() && path[0] == '.' ? 1 : 0);
        return elementOf(type_.declarations(), type_.layout(), array, index);
    }

    /// The member that the way goes on with. Names may have dots themselves, so the longest that fits is meant.
    [[nodiscard]] std::optional<Part> member(const Part& structure, std::string_view& path) const {
        std::optional<Part> found;
        std::string_view rest;
        for (const Part& part : partsOf(type_.declarations(), type_.layout(), structure)) {
            std::string_view behind = path;
            if (takePrefix(behind, part.member.name) &&
                (!found || part.member.name.size() > found->member.name.size())) {
                found = part;
                rest = behind;
            }
        }
        path = rest;
        return found;
    }

    const EnumNames* namesOf(const Part& part) {
        EnumNames& names = names_[part.member.type];
        if (names.empty()) {
            for (const Enumerator& enumerator : type_.declarations().at(part.member.type).enumerators) {
                names.emplace(enumerator.name, enumerator.value);
            }
        }
        return &names;
    }

    [[nodiscard]] bool startsWithStructure() const {
        std::optional<Part> part = wholeOf(type_.declarations());
        while (part && type_.declarations().at(part->member.type).kind == Kind::Union) {
            part = onlyPartOf(type_.declarations(), type_.layout(), *part);
        }
        return !part || type_.declarations().at(part->member.type).kind == Kind::Struct;
    }

    /// Where the text begins that a value ends with: a dynamic value need not have the zeros behind it.
    [[nodiscard]] std::optional<std::size_t> findTextTail() const {
        const Declarations& declarations = type_.declarations();
        std::optional<Part> last = wholeOf(declarations);
        while (last) {
            if (const auto field = fieldOf(declarations, type_.layout(), *last)) {
                return field->code == Field::Code::Text ? std::optional<std::size_t>(field->offset) : std::nullopt;
            }
            if (declarations.at(last->member.type).kind != Kind::Struct) {
                return std::nullopt;
            }
            const std::vector<Part> parts = partsOf(declarations, type_.layout(), *last);
            last = parts.empty() ? std::nullopt : std::optional<Part>(parts.back());
        }
        return std::nullopt;
    }

    std::string typeName_;
    Columns columns_;
    Description type_;
    bool isStructure_;
    std::optional<std::size_t> textTail_;
    std::unordered_map<std::string, Place> places_;
    std::map<TypeId, EnumNames> names_;
};

} // namespace

std::unique_ptr<Encoder> makeDescribedEncoder(const std::string& typeName, const Columns& columns,
                                              std::optional<std::uint32_t> size) {
    const std::optional<std::string> path = findDescription(typeName);
    if (!path) {
        return nullptr;
    }
    try {
        return std::make_unique<DescribedEncoder>(typeName, columns, readDescription(*path), size);
    } catch (const DescriptionError& error) {
        throw Norvu::RuntimeException(*path + ":" + std::to_string(error.line()) + ": " + error.msg());
    }
}

std::unique_ptr<Encoder> makeEncoder(const std::string& typeName, const Columns& columns,
                                     std::optional<std::uint32_t> size) {
    std::unique_ptr<Encoder> encoder = makeBuiltinEncoder(typeName, columns);
    if (!encoder) {
        encoder = makeDescribedEncoder(typeName, columns, size);
    }
    if (encoder && size && encoder->valueSize() != *size) {
        throw UsageError("a value of type '" + typeName + "' has " + std::to_string(encoder->valueSize()) +
                         " bytes, not " + std::to_string(*size));
    }
    if (encoder) {
        return encoder;
    }
    std::string places;
    for (const std::string& directory : descriptionDirectories()) {
        places += (places.empty() ? "" : ", ") + directory;
    }
    throw UsageError("type '" + typeName + "' is not built in, and no file '" + typeName + ".h' in " +
                     (places.empty() ? "the directories of HALYX_TYPE_PATH" : places) + " describes it");
}

} // namespace Halyx::Writer
