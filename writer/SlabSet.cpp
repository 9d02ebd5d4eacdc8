#include "writer/SlabSet.h"

#include <algorithm>

namespace Halyx::Writer {

SlabSet::SlabSet(const CollectionDirectory& directory, const Options& options, SharedMem::FenixId fenix)
    : directory_(&directory), fenix_(fenix), payloads_(options.slabPayloads), firstEntries_(options.slabEntries),
      mode_(options.fileMode) {}

void SlabSet::nextOperation() {
    ++operation_;
    while (!resting_.empty() && operation_ - resting_.front().since > kGrace) {
        release(resting_.front().offset);
        resting_.pop_front();
    }
}

unsigned SlabSet::slabFor(std::size_t size) const {
    return static_cast<unsigned>(std::lower_bound(payloads_.begin(), payloads_.end(), size) - payloads_.begin());
}

void SlabSet::reserve(std::size_t size) {
    const unsigned number = slabFor(size);
    std::unique_ptr<SlabFile>& slab = slabs_.at(number);
    if (!slab) {
        slab = std::make_unique<SlabFile>(*directory_, number, payloads_.at(number), firstEntries_, fenix_, mode_);
    }
    slab->reserve();
}

Plask::Layout::SlabOffset SlabSet::insert(std::string_view value) {
    const unsigned number = slabFor(value.size());
    return {number, slabs_.at(number)->insert(value)};
}

void SlabSet::retire(Plask::Layout::SlabOffset offset) {
    resting_.push_back({offset, operation_});
}

void SlabSet::releaseAll() {
    for (const Resting& resting : resting_) {
        release(resting.offset);
    }
    resting_.clear();
}

std::uint32_t SlabSet::growths() const {
    std::uint32_t sum = 0;
    for (const std::unique_ptr<SlabFile>& slab : slabs_) {
        sum += slab ? slab->growths() : 0;
    }
    return sum;
}

} // namespace Halyx::Writer
