#include "Halyx/BucketTableLayout.h"
#include "Halyx/ConquerTableLayout.h"
#include "Halyx/FenixLayout.h"
#include "Halyx/SlotTableLayout.h"
#include "Mem/RootPath.h"
#include "Mem/Shared.h"
#include "Norvu/Exception.h"
#include "Plask/SlabLayout.h"
#include "writer/CollectionDirectory.h"
#include "writer/program/Command.h"
#include "writer/program/Stop.h"

#include <memory>

namespace Halyx::Writer {

namespace {

class AttachCommand : public Command {
public:
    const char* name() const override { return "attach"; }
    const char* summary() const override {
        return "Maps a collection read-only, as a client of some kind does, and waits.";
    }
    const char* description() const override {
        return "A reader maps slots, buckets and slabs; a shadow also conquer.1 and conquer.2; a keyshadow also fenix. "
               "Nothing is\n"
               "read or written.\n";
    }
    std::vector<OptionDescription> options() const override {
        return {
            {"--as", "KIND", "reader, shadow or keyshadow; required"},
            {"--seconds", "S", "how long; default: until stopped"},
        };
    }
    int run(const Arguments& arguments, const Stop& stop) const override {
        const std::string kind = arguments.text("--as");
        if (kind != "reader" && kind != "shadow" && kind != "keyshadow") {
            throw UsageError("option '--as' needs reader, shadow or keyshadow, not '" + kind + "'");
        }
        const double seconds = arguments.seconds("--seconds", -1);
        const std::string& name = arguments.operands()[0];
        const std::string path = collectionsRoot() + "/" + CollectionDirectory::collectionName(name);

        std::vector<std::unique_ptr<Mem::Shared>> mappings;
        const auto attach = [&](const std::string& file, bool required) {
            auto mapping = std::make_unique<Mem::Shared>(Norvu::Platform::getDebugHandler("HalyxWriter"), path.c_str(),
                                                         file.c_str(), false, Mem::Shared::SHARED_DEFAULT_FLAGS, false);
            const unsigned size = mapping->memSize();
            if (size == 0 && !required) {
                return;
            }
            if (size == 0 || mapping->attach(size, Mem::Mode::ReadOnlyShared, true, {}) == nullptr) {
                Norvu::RuntimeException::throwException(
                    "cannot map " + mapping->getFilename() + ": " +
                    (mapping->errorText().empty() ? "there is no such file, or it is empty" : mapping->errorText()));
            }
            mappings.push_back(std::move(mapping));
        };
        attach(Layout::kSlotsFile, true);
        attach(Layout::kBucketsFile, true);
        for (unsigned slab = 0; slab < Plask::Layout::kSlabCount; ++slab) {
            attach("slab" + std::to_string(slab), false);
        }
        if (kind != "reader") {
            attach(Layout::kConquerFiles[0], true);
            attach(Layout::kConquerFiles[1], true);
        }
        if (kind == "keyshadow") {
            attach(Layout::kFenixFile, true);
        }
        printReady(name);
        stop.wait(seconds);
        return 0;
    }
};

} // namespace

const Command& attachCommand() {
    static const AttachCommand command;
    return command;
}

} // namespace Halyx::Writer
