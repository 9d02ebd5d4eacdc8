#pragma once

#include "writer/program/Record.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace Halyx::Writer {

/// Turns a record into the bytes of a value of one type.
class Encoder {
public:
    virtual ~Encoder() = default;
    Encoder() = default;
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    /// Bytes of a value, of the largest when they differ.
    [[nodiscard]] virtual std::uint32_t valueSize() const = 0;
    /// Puts the value into `bytes`: valueSize() of them, or fewer where the type has shorter values and `dynamic` allows them.
    /// Throws BadLine when the record holds no such value.
    virtual void encode(const Record& record, bool dynamic, std::string& bytes) = 0;
};

/// Which columns of a record make the key and the value; empty where the user did not say.
struct Columns {
    std::string key;
    std::string value;
};

/// The encoder for values of a built-in type; null when `typeName` is none. Without a value column, text is all columns joined
/// by blanks, and anything else the one column beside the key.
std::unique_ptr<Encoder> makeBuiltinEncoder(const std::string& typeName, const Columns& columns);

/// The encoder for values of a type that a description file says how to lay out; null when there is no such file. The columns
/// are named after the fields, those inside of others with their way: point.x, names[2], rows[1][0]. A size chooses between the
/// rules of 64 and of 32 bits; without it those of 64 hold. Throws Norvu::RuntimeException, naming file and line, when the
/// description cannot be used.
std::unique_ptr<Encoder> makeDescribedEncoder(const std::string& typeName, const Columns& columns,
                                              std::optional<std::uint32_t> size = std::nullopt);

/// The encoder for a type of either sort. Throws UsageError, which says where was looked, when there is none, and what
/// makeDescribedEncoder throws.
std::unique_ptr<Encoder> makeEncoder(const std::string& typeName, const Columns& columns,
                                     std::optional<std::uint32_t> size = std::nullopt);

} // namespace Halyx::Writer
