#include "writer/ValueTypes.h"
#include "writer/program/Encoder.h"
#include "writer/program/FieldValue.h"
#include "writer/program/Input.h"

namespace Halyx::Writer {

namespace {

using Norvu::Types::Field;

/// One column, or all of them, as a value of a type that needs no description.
class BuiltinEncoder : public Encoder {
public:
    BuiltinEncoder(std::string typeName, const Field& type, Columns columns)
        : typeName_(std::move(typeName)), type_(type), columns_(std::move(columns)) {}

    std::uint32_t valueSize() const override { return type_.size; }

    void encode(const Record& record, bool dynamic, std::string& bytes) override {
        if (type_.code == Field::Code::Text) {
            encodeText(record, bytes);
            if (!dynamic) {
                bytes.resize(type_.size, '\0');
            }
            return;
        }
        const Record::Field& input = valueField(record);
        bytes.assign(type_.size, '\0');
        if (!storeField(type_, {}, input, static_cast<unsigned char*>(static_cast<void*>(bytes.data())))) {
            throw BadLine("'" + (input.kind == Record::Kind::Null ? "null" : input.text) + "' is no value of type " +
                          typeName_);
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
        if (!columns_.value.empty()) {
            return fieldNamed(record, columns_.value);
        }
        const std::size_t key = columns_.key.empty() ? 0 : record.find(columns_.key);
        if (record.fields.size() != 2 || key == Record::kNone) {
            throw BadLine("which column is the value? Say it with --value");
        }
        return record.fields[1 - key];
    }

    void encodeText(const Record& record, std::string& bytes) const {
        bytes.clear();
        if (!columns_.value.empty()) {
            bytes = fieldNamed(record, columns_.value).text;
        } else {
            for (const Record::Field& field : record.fields) {
                bytes += (&field == record.fields.data() ? "" : " ") + field.text;
            }
        }
        if (bytes.find('\0') != std::string::npos) { // where it would end when it is printed
            throw BadLine("a text with a NUL is no value of type " + typeName_);
        }
        if (bytes.size() > type_.size) {
            throw BadLine("a value of " + std::to_string(bytes.size()) + " bytes does not fit " + typeName_);
        }
    }

    std::string typeName_;
    Field type_;
    Columns columns_;
};

} // namespace

std::unique_ptr<Encoder> makeBuiltinEncoder(const std::string& typeName, const Columns& columns) {
    const std::optional<Field> type = findValueType(typeName);
    return type ? std::make_unique<BuiltinEncoder>(typeName, *type, columns) : nullptr;
}

} // namespace Halyx::Writer
