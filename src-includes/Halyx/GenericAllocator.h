#pragma once

#include "Mem/View.h"
#include "Plask/ReaderAllocator.h"
#include "SharedMem/FenixId.h"

namespace Halyx {

/// Gets a slot's value to where it can be printed: from the slot itself, or from the slab entry that the slot names.
class GenericAllocator {
public:
    virtual ~GenericAllocator() = default;

    /// The incarnation that files attached from now on must be of; 0 accepts any.
    virtual void validate(SharedMem::FenixId fenix) = 0;

    /// Copies the value that `value` (a slot's value area) stands for to `destination`, which has room for a whole value;
    /// its length in bytes. Throws CorruptionDetectedException when there is none.
    virtual unsigned construct(void* destination, const Mem::View& value) const = 0;

    /// Bytes of the files that values live in besides the slots.
    [[nodiscard]] virtual std::uint64_t fileBytes() const = 0;

    /// Asks for the cache lines that construct() will read besides the slot.
    virtual void prefetch(const Mem::View& value) const = 0;

protected:
    GenericAllocator() = default;
    GenericAllocator(const GenericAllocator&) = default;
    GenericAllocator& operator=(const GenericAllocator&) = default;
};

/// Values that live in their slots.
class StaticGenericAllocator final : public GenericAllocator {
public:
    explicit StaticGenericAllocator(unsigned valueSize) : valueSize_(valueSize) {}

    void validate(SharedMem::FenixId) override {}
    unsigned construct(void* destination, const Mem::View& value) const override {
        value.copy(0, destination, valueSize_);
        return valueSize_;
    }
    [[nodiscard]] std::uint64_t fileBytes() const override { return 0; }
    void prefetch(const Mem::View&) const override {}

private:
    unsigned valueSize_;
};

/// Values that live in slab entries. Owns the slab readers.
class DynamicGenericAllocator final : public GenericAllocator {
public:
    DynamicGenericAllocator(Norvu::Platform::DebugHandler& handler, const Mem::RootPath& root, unsigned valueSize)
        : slabs_(std::make_unique<Plask::ReaderAllocator>(handler, root)), valueSize_(valueSize) {}

    void validate(SharedMem::FenixId fenix) override { slabs_->expect(fenix); }
    unsigned construct(void* destination, const Mem::View& value) const override {
        return slabs_->read(Plask::Layout::SlabOffset(value.word(0)), destination, valueSize_);
    }
    [[nodiscard]] std::uint64_t fileBytes() const override { return slabs_->fileBytes(); }
    void prefetch(const Mem::View& value) const override { slabs_->prefetch(Plask::Layout::SlabOffset(value.word(0))); }

private:
    std::unique_ptr<Plask::ReaderAllocator> slabs_;
    unsigned valueSize_;
};

} // namespace Halyx
