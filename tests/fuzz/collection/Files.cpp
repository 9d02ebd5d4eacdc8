#include "fuzz/collection/Files.h"

#include "Halyx/BucketTableLayout.h"
#include "Halyx/ConquerTableLayout.h"
#include "Halyx/FenixLayout.h"
#include "Halyx/SlotTableLayout.h"

namespace Fuzz {

std::string collectionFile(unsigned char name) {
    using namespace Halyx::Layout;
    switch (name) {
    case kBuckets:
        return kBucketsFile;
    case kSlots:
        return kSlotsFile;
    case kQueue:
    case kQueue + 1:
        return kConquerFiles[name - kQueue];
    case kFenix:
        return kFenixFile;
    default:
        return name >= kSlab && name < kEndOfSlabs ? "slab" + std::to_string(name - kSlab) : std::string();
    }
}

std::size_t place(Sandbox& sandbox, const Archive& archive) {
    Sandbox::Files files;
    Sandbox::Files types;
    std::size_t size = 0;
    for (const auto& [name, bytes] : archive.files) {
        const std::string file = collectionFile(name);
        if (!file.empty()) {
            files[file] = bytes;
            size += bytes.size();
        } else if (name == kDescription) {
            types[std::string(kDescribedType) + ".h"] = bytes;
        }
    }
    sandbox.fill(sandbox.collection("c"), files);
    sandbox.fill(sandbox.types(), types);
    return size;
}

} // namespace Fuzz
