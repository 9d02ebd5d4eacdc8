#pragma once

#include "Halyx/SlotTableLayout.h"
#include "Mem/RootPath.h"
#include "Mem/Shared.h"
#include "Plask/SlabLayout.h"
#include "writer/Options.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace Halyx::Writer {

/// The elements of a collection that nobody writes, as a restart reads them: after a clean close, or as a killed writer left
/// them. Maps the files read-only and owns the mappings.
///
/// What is damaged is refused with a Norvu::CorruptionDetectedException that names file, offset, value and expectation.
class ExistingCollection {
public:
    /// Maps and checks the headers. `path` is the collection's directory; its writer's lock is the caller's.
    explicit ExistingCollection(std::string path);

    /// Writes into `options` what describes this collection.
    void describe(Options& options) const;

    /// Every element's value. A value that was being replaced when the writer was killed is the new one.
    void forEach(const std::function<void(std::string_view value)>& visit) const;

private:
    struct Slab {
        std::unique_ptr<Mem::Shared> file;
        std::uint32_t entrySize = 0;
        std::uint32_t entries = 0;
    };

    [[nodiscard]] std::unique_ptr<Mem::Shared> map(const std::string& name, std::uint64_t least) const;
    void checkSlots();
    void checkBuckets();
    Slab& slab(unsigned number) const;
    [[nodiscard]] std::string_view valueOf(std::uint32_t slot, std::string& buffer) const;
    [[nodiscard]] std::size_t slotOffset(std::uint32_t slot) const;

    std::string path_;
    Norvu::Platform::DebugHandler* handler_;
    std::unique_ptr<Mem::Shared> slots_;
    std::unique_ptr<Mem::Shared> buckets_;
    mutable std::array<Slab, Plask::Layout::kSlabCount> slabs_;
    Layout::SlotTableHeader header_{};
    std::uint32_t bucketCount_ = 0;
    std::uint32_t notifications_ = 0;
};

} // namespace Halyx::Writer
