#pragma once

#include "Halyx/SlotTableLayout.h"
#include "Norvu/Debug.h"
#include "SharedMem/SharedMemWrapper.h"

#include <string>
#include <string_view>

namespace Halyx {

/// The value type of readers that learn the real type's name and size from the header.
struct EmptyValue {};

/// A copy of a slot table's header. Copied first, checked then, used last.
struct SlotTableHeader : Layout::SlotTableHeader {
    /// The checks in their fixed order; the first failure's text replaces `reason`, is traced at level 0, and the result is
    /// false. `fileSize` in bytes; `expected` 0 accepts any incarnation. Never throws. The sizes come last, so a short file
    /// is told by the first field that is wrong in it.
    bool validate(Norvu::Platform::DebugHandler& handler, unsigned fileSize, SharedMem::FenixId expected,
                  std::string& reason) const;

    /// The same checks without the trace.
    [[nodiscard]] bool check(unsigned fileSize, SharedMem::FenixId expected, std::string& reason) const;

    void trace(Norvu::Platform::DebugHandler& handler) const;

    /// The sum over the fields that never change while the table lives, as `hash` must hold it.
    [[nodiscard]] std::uint32_t computeHash() const;

    [[nodiscard]] std::string_view valueTypeText() const;
    [[nodiscard]] std::string_view classTypeText() const;
    [[nodiscard]] bool isDynamic() const { return (flags & Layout::kSlotFlagDynamic) != 0; }
    [[nodiscard]] bool hasConquer() const { return (flags & Layout::kSlotFlagConquer) != 0; }
};

/// What every user of a slot table file shares. Owns the mapping.
template <typename Value>
class SlotTable : public Norvu::Debuggable {
public:
    using Header = SlotTableHeader;

    SlotTable(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root, bool localMem)
        : Debuggable(handler), mapping_(handler, root, Layout::kSlotsFile, localMem) {}
    SlotTable(const SlotTable&) = delete;
    SlotTable& operator=(const SlotTable&) = delete;
    ~SlotTable() override = default;

    /// Unmaps the table; the mapping's result.
    virtual int detach() {
        if (debugHandler().enabled(5)) {
            debugHandler().log("SlotTable::detach()", 5, "SlotTable", __LINE__, "detach");
        }
        return mapping_.release();
    }

    [[nodiscard]] bool attached() const { return mapping_.attached(); }
    [[nodiscard]] const Mem::SharedMemWrapper& mapping() const { return mapping_; }

protected:
    [[nodiscard]] Mem::SharedMemWrapper& ownMapping() { return mapping_; }

private:
    Mem::SharedMemWrapper mapping_;
};

} // namespace Halyx
