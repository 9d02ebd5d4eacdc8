// Where each class keeps its virtual operations: others are linked against these slots.

#include "Halyx/GenericAllocator.h"
#include "Mem/Local.h"
#include "Norvu/DirNode.h"
#include "unit/ReaderTest.h"

#include <cstring>

namespace {

using VirtualOrder = ReaderTest;

template <typename Function>
Function inSlot(const void* object, std::size_t slot) {
    void** table = nullptr;
    std::memcpy(&table, object, sizeof table);
    return reinterpret_cast<Function>(table[slot]);
}

TEST_F(VirtualOrder, RootPathHasItsPrefixBehindTheDestructors) {
    const Mem::RootPath base(handler(), "/x", "y", "", false);
    const Halyx::RootPath derived(handler(), "c", false);
    EXPECT_EQ(inSlot<std::string (*)(const void*)>(&base, 2)(&base), "shmem");
    EXPECT_EQ(inSlot<std::string (*)(const void*)>(&derived, 2)(&derived), "halyx");
}

TEST_F(VirtualOrder, MappingsHaveTheirNameBehindTheDestructors) {
    using Name = const std::string* (*)(const void*);
    const Mem::Local local(handler(), Mem::Local::LOCAL_DEFAULT_FLAGS);
    const Halyx::RootPath path(handler(), "c", false);
    const Mem::SharedMemWrapper shared(handler(), path, "slots", false);
    EXPECT_EQ(*inSlot<Name>(&local, 2)(&local), local.getFilename());
    EXPECT_EQ(*inSlot<Name>(&shared, 2)(&shared), path.text() + "/slots");
}

TEST_F(VirtualOrder, AllocatorsValidateAndThenConstruct) {
    Halyx::StaticGenericAllocator allocator(4);
    const std::string name = "value";
    const Mem::View value("abcd", 4, name);
    char out[4] = {};
    inSlot<void (*)(void*, SharedMem::FenixId)>(&allocator, 2)(&allocator, SharedMem::FenixId(1));
    EXPECT_EQ(inSlot<unsigned (*)(const void*, void*, const Mem::View*)>(&allocator, 3)(&allocator, out, &value), 4U);
    EXPECT_EQ(std::string(out, 4), "abcd");
}

TEST_F(VirtualOrder, DeletingDestructorsAreInTheSecondSlot) {
    auto* node = new Norvu::DirNode(handler(), root_.path(), nullptr);
    inSlot<void (*)(void*)>(node, 1)(node); // the address sanitizer notices when this is not the one that frees
    auto* path = new Halyx::RootPath(handler(), "c", false);
    inSlot<void (*)(void*)>(path, 1)(path);
    Halyx::GenericAllocator* allocator = new Halyx::StaticGenericAllocator(4);
    inSlot<void (*)(void*)>(allocator, 1)(allocator);
}

} // namespace
