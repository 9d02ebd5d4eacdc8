#include "Norvu/Types/Scalars.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace Norvu::Types {

namespace {

/// Sizes in bytes by Abi. Inside structures the 32-bit rules align nothing to more than 4.
Type scalar(Kind kind, std::uint32_t size64, std::uint32_t size32, bool isSigned) {
    Type type;
    type.kind = kind;
    type.size[0] = size64;
    type.size[1] = size32;
    type.align[0] = size64;
    type.align[1] = std::min(size32, 4U);
    type.isSigned = isSigned;
    return type;
}

struct Named {
    std::string_view name;
    Kind kind;
    std::uint32_t size64;
    std::uint32_t size32;
    bool isSigned;
    bool bigEndian;
};

constexpr Named kNamed[] = {
    {"int8_t", Kind::Integer, 1, 1, true, false},
    {"int16_t", Kind::Integer, 2, 2, true, false},
    {"int32_t", Kind::Integer, 4, 4, true, false},
    {"int64_t", Kind::Integer, 8, 8, true, false},
    {"uint8_t", Kind::Integer, 1, 1, false, false},
    {"uint16_t", Kind::Integer, 2, 2, false, false},
    {"uint32_t", Kind::Integer, 4, 4, false, false},
    {"uint64_t", Kind::Integer, 8, 8, false, false},
    {"intptr_t", Kind::Integer, 8, 4, true, false},
    {"uintptr_t", Kind::Integer, 8, 4, false, false},
    {"intmax_t", Kind::Integer, 8, 8, true, false},
    {"uintmax_t", Kind::Integer, 8, 8, false, false},
    {"ptrdiff_t", Kind::Integer, 8, 4, true, false},
    {"size_t", Kind::Integer, 8, 4, false, false},
    {"ssize_t", Kind::Integer, 8, 4, true, false},
    {"byte", Kind::Integer, 1, 1, false, false},
    {"U8", Kind::Integer, 1, 1, false, false},
    {"U16", Kind::Integer, 2, 2, false, false},
    {"U32", Kind::Integer, 4, 4, false, false},
    {"U64", Kind::Integer, 8, 8, false, false},
    {"S8", Kind::Integer, 1, 1, true, false},
    {"S16", Kind::Integer, 2, 2, true, false},
    {"S32", Kind::Integer, 4, 4, true, false},
    {"S64", Kind::Integer, 8, 8, true, false},
    {"u8", Kind::Integer, 1, 1, false, false},
    {"u16", Kind::Integer, 2, 2, false, false},
    {"u32", Kind::Integer, 4, 4, false, false},
    {"u64", Kind::Integer, 8, 8, false, false},
    {"s8", Kind::Integer, 1, 1, true, false},
    {"s16", Kind::Integer, 2, 2, true, false},
    {"s32", Kind::Integer, 4, 4, true, false},
    {"s64", Kind::Integer, 8, 8, true, false},
    {"__u8", Kind::Integer, 1, 1, false, false},
    {"__u16", Kind::Integer, 2, 2, false, false},
    {"__u32", Kind::Integer, 4, 4, false, false},
    {"__u64", Kind::Integer, 8, 8, false, false},
    {"__s8", Kind::Integer, 1, 1, true, false},
    {"__s16", Kind::Integer, 2, 2, true, false},
    {"__s32", Kind::Integer, 4, 4, true, false},
    {"__s64", Kind::Integer, 8, 8, true, false},
    {"__le16", Kind::Integer, 2, 2, false, false},
    {"__le32", Kind::Integer, 4, 4, false, false},
    {"__le64", Kind::Integer, 8, 8, false, false},
    {"__be16", Kind::Integer, 2, 2, false, true},
    {"__be32", Kind::Integer, 4, 4, false, true},
    {"__be64", Kind::Integer, 8, 8, false, true},
    {"__sum16", Kind::Integer, 2, 2, false, false},
    {"u_char", Kind::Integer, 1, 1, false, false},
    {"u_short", Kind::Integer, 2, 2, false, false},
    {"u_int", Kind::Integer, 4, 4, false, false},
    {"u_long", Kind::Integer, 8, 4, false, false},
    {"u_int8_t", Kind::Integer, 1, 1, false, false},
    {"u_int16_t", Kind::Integer, 2, 2, false, false},
    {"u_int32_t", Kind::Integer, 4, 4, false, false},
    {"u_int64_t", Kind::Integer, 8, 8, false, false},
    {"uint", Kind::Integer, 4, 4, false, false},
    {"ushort", Kind::Integer, 2, 2, false, false},
    {"ulong", Kind::Integer, 8, 4, false, false},
    {"sa_family_t", Kind::Integer, 2, 2, false, false},
    {"in_port_t", Kind::Integer, 2, 2, false, false},
    {"in_addr_t", Kind::Integer, 4, 4, false, false},
    {"socklen_t", Kind::Integer, 4, 4, false, false},
    {"pid_t", Kind::Integer, 4, 4, true, false},
    {"uid_t", Kind::Integer, 4, 4, false, false},
    {"gid_t", Kind::Integer, 4, 4, false, false},
    {"id_t", Kind::Integer, 4, 4, false, false},
    {"mode_t", Kind::Integer, 4, 4, false, false},
    {"key_t", Kind::Integer, 4, 4, true, false},
    {"clockid_t", Kind::Integer, 4, 4, true, false},
    {"useconds_t", Kind::Integer, 4, 4, false, false},
    {"time_t", Kind::Integer, 8, 4, true, false},
    {"clock_t", Kind::Integer, 8, 4, true, false},
    {"suseconds_t", Kind::Integer, 8, 4, true, false},
    {"off_t", Kind::Integer, 8, 4, true, false},
    {"off64_t", Kind::Integer, 8, 8, true, false},
    {"loff_t", Kind::Integer, 8, 8, true, false},
    {"dev_t", Kind::Integer, 8, 8, false, false},
    {"ino_t", Kind::Integer, 8, 4, false, false},
    {"ino64_t", Kind::Integer, 8, 8, false, false},
    {"nlink_t", Kind::Integer, 8, 4, false, false},
    {"blksize_t", Kind::Integer, 8, 4, true, false},
    {"blkcnt_t", Kind::Integer, 8, 4, true, false},
    {"char8_t", Kind::Character, 1, 1, false, false},
    {"char16_t", Kind::Integer, 2, 2, false, false},
    {"char32_t", Kind::Integer, 4, 4, false, false},
    {"wchar_t", Kind::Integer, 4, 4, true, false},
    {"__kernel_long_t", Kind::Integer, 8, 4, true, false},
    {"__kernel_ulong_t", Kind::Integer, 8, 4, false, false},
    {"__syscall_slong_t", Kind::Integer, 8, 4, true, false},
    {"__syscall_ulong_t", Kind::Integer, 8, 4, false, false},
    {"_Float32", Kind::Float, 4, 4, true, false},
    {"_Float64", Kind::Float, 8, 8, true, false},
};

} // namespace

bool BasicWords::add(std::string_view word) {
    struct Word {
        std::string_view text;
        unsigned BasicWords::*count;
    };
    constexpr Word words[] = {
        {"char", &BasicWords::chars_},   {"short", &BasicWords::shorts_},       {"long", &BasicWords::longs_},
        {"int", &BasicWords::ints_},     {"signed", &BasicWords::signs_},       {"__signed__", &BasicWords::signs_},
        {"bool", &BasicWords::bools_},   {"unsigned", &BasicWords::unsigneds_}, {"_Bool", &BasicWords::bools_},
        {"float", &BasicWords::floats_}, {"double", &BasicWords::doubles_},     {"void", &BasicWords::voids_},
    };
    const auto* const found =
        std::find_if(std::begin(words), std::end(words), [&](const Word& known) { return known.text == word; });
    if (found == std::end(words)) {
        return false;
    }
    ++(this->*found->count);
    ++words_;
    return true;
}

std::optional<Type> BasicWords::type() const {
    const bool isUnsigned = unsigneds_ == 1;
    if (signs_ + unsigneds_ > 1 || ints_ > 1 || longs_ > 2 || shorts_ > 1 || chars_ > 1) {
        return std::nullopt;
    }
    const unsigned signWords = signs_ + unsigneds_;
    if (voids_ == 1 && words_ == 1) {
        return voidType();
    }
    if (bools_ == 1 && words_ == 1) {
        return scalar(Kind::Bool, 1, 1, false);
    }
    if (floats_ == 1 && words_ == 1) {
        return scalar(Kind::Float, 4, 4, true);
    }
    if (doubles_ == 1 && words_ == 1) {
        return scalar(Kind::Float, 8, 8, true);
    }
    if (doubles_ == 1 && longs_ == 1 && words_ == 2) {
        return scalar(Kind::Float, 16, 12, true);
    }
    if (chars_ == 1 && words_ == 1 + signWords) {
        return scalar(signWords == 0 ? Kind::Character : Kind::Integer, 1, 1, !isUnsigned);
    }
    if (shorts_ == 1 && words_ == 1 + ints_ + signWords) {
        return scalar(Kind::Integer, 2, 2, !isUnsigned);
    }
    if (longs_ == 2 && words_ == 2 + ints_ + signWords) {
        return scalar(Kind::Integer, 8, 8, !isUnsigned);
    }
    if (longs_ == 1 && words_ == 1 + ints_ + signWords) {
        return scalar(Kind::Integer, 8, 4, !isUnsigned);
    }
    if (words_ == ints_ + signWords) {
        return scalar(Kind::Integer, 4, 4, !isUnsigned);
    }
    return std::nullopt;
}

std::optional<Type> scalarNamed(std::string_view name) {
    constexpr std::string_view standard = "std::";
    if (name.substr(0, standard.size()) == standard) {
        name.remove_prefix(standard.size());
    } else if (name == "byte") {
        return std::nullopt;
    }
    const auto find = [](std::string_view wanted) {
        return std::find_if(std::begin(kNamed), std::end(kNamed),
                            [&](const Named& known) { return known.name == wanted; });
    };
    const auto* found = find(name);
    // The C library's headers use their own names for the same: __pid_t, __uint16_t.
    if (found == std::end(kNamed) && name.substr(0, 2) == "__" && name.substr(name.size() - 2) == "_t") {
        found = find(name.substr(2));
    }
    if (found == std::end(kNamed)) {
        return std::nullopt;
    }
    Type type = scalar(found->kind, found->size64, found->size32, found->isSigned);
    type.bigEndian = found->bigEndian;
    return type;
}

Type pointerType() {
    return scalar(Kind::Pointer, 8, 4, false);
}

Type voidType() {
    return {};
}

Type enumStorage(std::int64_t least, std::int64_t most, bool packed) {
    const bool isSigned = least < 0;
    const auto fits = [&](unsigned bits) {
        if (isSigned) {
            const std::int64_t limit = std::int64_t{1} << (bits - 1);
            return least >= -limit && most < limit;
        }
        return most < std::int64_t{1} << bits;
    };
    const std::uint32_t size = packed && fits(8) ? 1 : packed && fits(16) ? 2 : fits(32) ? 4 : 8;
    return scalar(Kind::Integer, size, size, isSigned);
}

} // namespace Norvu::Types
