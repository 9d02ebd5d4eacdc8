#pragma once

#include "Halyx/ConquerTableLayout.h"
#include "Norvu/Debug.h"
#include "SharedMem/SharedMemWrapper.h"

#include <string>
#include <type_traits>

namespace Halyx {

/// What every user of a collection's two notification queues shares. Owns the two mappings.
class Conquer : public Norvu::Debuggable {
public:
    enum class ConquerTableId : std::uint32_t { Primary = 0, Secondary = 1 };

    using Notification = Layout::ConquerRecord;

    /// A copy of a queue file's header. Copied first, checked then, used last.
    struct Header : Layout::ConquerHeader {
        /// The checks in their fixed order; the first failure's text replaces `errorText`, is traced at level 0, and the result
        /// is false. `fileSize` in bytes; `wantedFenix` 0 accepts any incarnation. Never throws.
        bool validate(Norvu::Platform::DebugHandler& handler, unsigned fileSize, unsigned wantedFenix,
                      std::string& errorText) const;

        /// The same checks without the trace.
        [[nodiscard]] bool check(unsigned fileSize, unsigned wantedFenix, std::string& errorText) const;
    };

    /// Releases both mappings.
    ~Conquer() override;
    Conquer(const Conquer&) = delete;
    Conquer& operator=(const Conquer&) = delete;

    [[nodiscard]] const Mem::SharedMemWrapper& mapping(ConquerTableId id) const { return mappings_[index(id)]; }

protected:
    Conquer(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root, bool localMem);

    [[nodiscard]] Mem::SharedMemWrapper& ownMapping(ConquerTableId id) { return mappings_[index(id)]; }
    static constexpr std::size_t index(ConquerTableId id) { return static_cast<std::size_t>(id); }

private:
    Mem::SharedMemWrapper mappings_[2];
};

static_assert(sizeof(Conquer::Notification) == 12 && std::is_trivially_copyable_v<Conquer::Notification>);

} // namespace Halyx
