#pragma once

#include "fixtures/CollectionBuilder.h"
#include "hostile/Case.h"
#include "hostile/Expectation.h"
#include "hostile/FileView.h"
#include "hostile/Lookup.h"
#include "hostile/Report.h"

#include <map>
#include <memory>
#include <string>

namespace Hostile {

/// One collection as it lies on disk, and what its files say of themselves. Worked out from the layout headers and the words of
/// the checks; nothing of the tool's own code takes part.
struct CollectionView {
    CollectionView(const Fixtures::ScratchRoot& root, std::string name, bool unprivileged);

    std::string name;
    std::string path; ///< safe to print
    std::map<std::string, FileView> files;
    Halyx::Layout::BucketTableHeader buckets{};
    Halyx::Layout::SlotTableHeader slots{};
    std::string bucketsFault;
    std::string slotsFault;

    [[nodiscard]] const FileView& file(const std::string& file) const { return files.at(file); }
    /// As reports print it.
    [[nodiscard]] std::string shownPath(const std::string& file) const { return path + "/" + file; }
    /// Both tables can be mapped and the slot table's header is sound: what every report but the walk asks for.
    [[nodiscard]] bool attaches() const;
    [[nodiscard]] bool dynamic() const { return (slots.flags & Halyx::Layout::kSlotFlagDynamic) != 0; }
    [[nodiscard]] bool hasConquer() const { return (slots.flags & Halyx::Layout::kSlotFlagConquer) != 0; }
    [[nodiscard]] std::string valueType() const;
    /// Sizes of slots and values with which the rules say what happens; with others something is refused in words of its own.
    [[nodiscard]] bool sizesAreReasonable() const;
    /// Sizes that every reader may believe: of any table whose slots can hold their values, and of any file at all.
    [[nodiscard]] std::uint64_t bytesHeld() const;
};

// What each report prints of a collection that was found.
Expectation expectWalk(const CollectionView& view, Report report);
Expectation expectHeaders(const CollectionView& view);
Expectation expectQueues(const CollectionView& view, bool validOnly);
Expectation expectClients(const CollectionView& view);

/// A value as the report prints it, whole; false when the rules leave its text open here.
bool valueText(const CollectionView& view, Report report, const std::string& bytes, std::string& text);

/// What the rules say of every report on a case.
class Oracle {
public:
    Oracle(const Fixtures::ScratchRoot& root, const Case& given);
    [[nodiscard]] Expectation of(Report report) const;

private:
    Lookup lookup_;
    std::unique_ptr<CollectionView> view_;
};

} // namespace Hostile
