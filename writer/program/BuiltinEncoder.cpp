#include "writer/program/Encoder.h"
#include "writer/program/Input.h"
#include "writer/program/ValueTypes.h"

#include <charconv>
#include <cstring>
#include <limits>

namespace Halyx::Writer {

namespace {

template <typename Number>
bool parseNumber(const std::string& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size();
}

template <typename Number>
void appendBytes(std::string& bytes, const Number& number, std::size_t size) {
    char copy[sizeof number];
    std::memcpy(copy, &number, sizeof number);
    bytes.append(copy, size);
}

/// One column, or all of them, as a value of a type that needs no description.
class BuiltinEncoder : public Encoder {
public:
    BuiltinEncoder(std::string typeName, ValueType type, std::string key, std::string value)
        : typeName_(std::move(typeName)), type_(type), key_(std::move(key)), value_(std::move(value)) {}

    std::uint32_t valueSize() const override { return type_.size; }

    void encode(const Record& record, bool dynamic, std::string& bytes) const override {
        bytes.clear();
        if (type_.kind == ValueKind::Text) {
            encodeText(record, bytes);
            if (!dynamic) {
                bytes.resize(type_.size, '\0');
            }
            return;
        }
        const Record::Field& field = valueField(record);
        if (!encodeNumber(field, bytes)) {
            throw BadLine("'" + field.text + "' is no value of type " + typeName_);
        }
    }

private:
    const Record::Field& fieldNamed(const Record& record, const std::string& name) const {
        const std::size_t number = record.find(name);
        if (number == Record::kNone) {
            throw BadLine("there is no column '" + name + "'");
        }
        return record.fields[number];
    }

    const Record::Field& valueField(const Record& record) const {
        if (!value_.empty()) {
            return fieldNamed(record, value_);
        }
        const std::size_t key = key_.empty() ? 0 : record.find(key_);
        if (record.fields.size() != 2 || key == Record::kNone) {
            throw BadLine("which column is the value? Say it with --value");
        }
        return record.fields[1 - key];
    }

    void encodeText(const Record& record, std::string& bytes) const {
        if (!value_.empty()) {
            bytes = fieldNamed(record, value_).text;
        } else {
            for (const Record::Field& field : record.fields) {
                bytes += (&field == record.fields.data() ? "" : " ") + field.text;
            }
        }
        if (bytes.size() > type_.size) {
            throw BadLine("a value of " + std::to_string(bytes.size()) + " bytes does not fit " + typeName_);
        }
    }

    bool encodeNumber(const Record::Field& field, std::string& bytes) const {
        switch (type_.kind) {
        case ValueKind::Unsigned: {
            std::uint64_t number = 0;
            const std::uint64_t most = std::numeric_limits<std::uint64_t>::max() >> (64 - 8 * type_.size);
            if (!parseNumber(field.text, number) || number > most) {
                return false;
            }
            appendBytes(bytes, number, type_.size);
            return true;
        }
        case ValueKind::Signed: {
            std::int64_t number = 0;
            const std::int64_t most = std::numeric_limits<std::int64_t>::max() >> (64 - 8 * type_.size);
            if (!parseNumber(field.text, number) || number > most || number < -most - 1) {
                return false;
            }
            appendBytes(bytes, number, type_.size);
            return true;
        }
        case ValueKind::Float: {
            float single = 0;
            double number = 0;
            if (type_.size == sizeof single ? !parseNumber(field.text, single) : !parseNumber(field.text, number)) {
                return false;
            }
            if (type_.size == sizeof single) {
                appendBytes(bytes, single, sizeof single);
            } else {
                appendBytes(bytes, number, sizeof number);
            }
            return true;
        }
        case ValueKind::Bool: {
            const bool yes = field.text == "true" || field.text == "1";
            bytes += yes ? '\1' : '\0';
            return yes || field.text == "false" || field.text == "0";
        }
        case ValueKind::Text:
            break;
        }
        return false;
    }

    std::string typeName_;
    ValueType type_;
    std::string key_;
    std::string value_;
};

} // namespace

std::unique_ptr<Encoder> makeEncoder(const std::string& typeName, const std::string& key, const std::string& value) {
    ValueType type{};
    if (!findValueType(typeName, type)) {
        return nullptr;
    }
    return std::make_unique<BuiltinEncoder>(typeName, type, key, value);
}

} // namespace Halyx::Writer
