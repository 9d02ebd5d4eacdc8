// usage: halyx_fuzz_seeds DIRECTORY
//
// Writes the inputs that fuzzing begins with to DIRECTORY/TARGET/: sound collections of every kind that the format knows, what
// a process table has to say of them, and expressions that name them.

#include "fixtures/CollectionBuilder.h"
#include "fuzz/collection/Files.h"
#include "fuzz/maps/ProcessFiles.h"
#include "fuzz/room/Archive.h"

#include <cstdio>
#include <exception>
#include <initializer_list>
#include <string>

namespace {

using Fixtures::CollectionBuilder;

enum Queues { None, Both };

/// The archive of what a builder makes, with slabs of these numbers.
Fuzz::Archive archiveOf(const CollectionBuilder& made, Queues queues, std::initializer_list<unsigned char> slabs) {
    Fuzz::Archive archive;
    archive.files[Fuzz::kBuckets] = made.bucketsFile();
    archive.files[Fuzz::kSlots] = made.slotsFile();
    for (const unsigned char number : slabs) {
        archive.files[static_cast<unsigned char>(Fuzz::kSlab + number)] = made.slabFile(number);
    }
    for (unsigned char queue = 0; queues == Both && queue < 2; ++queue) {
        archive.files[static_cast<unsigned char>(Fuzz::kQueue + queue)] = made.conquerFile(queue);
    }
    return archive;
}

void write(const std::string& directory, const std::string& name, const std::string& bytes) {
    Fixtures::makeDirectories(directory);
    Fixtures::writeFile(directory + "/" + name, bytes);
}

void writeCollections(const std::string& directory) {
    const auto save = [&](const std::string& name, const Fuzz::Archive& archive) {
        write(directory, name, archive.encode());
    };
    save("static", archiveOf(CollectionBuilder(4, 8).fillNumbers(), None, {}));
    save("empty", archiveOf(CollectionBuilder(2, 1), None, {}));
    save("text", archiveOf(CollectionBuilder(2, 3)
                               .valueType("char[16]", 16)
                               .fitSlots()
                               .fillNumbers()
                               .value(0, "a \"word\"\n\x1b[2J")
                               .value(1, "\xc3\xa4\xff"),
                           None, {}));
    save("float", archiveOf(CollectionBuilder(2, 3).valueType("double", 8).fillNumbers(), None, {}));
    save("lookaside", archiveOf(CollectionBuilder(2, 3).fillNumbers().state(1, 6).lookaside("12345678"), None, {}));
    save("dynamic", archiveOf(CollectionBuilder(2, 4)
                                  .dynamic()
                                  .valueType("char[24]", 24)
                                  .slab(0, 16, {"one", std::nullopt, "three"})
                                  .slab(3, 32, {"twenty-four bytes of it!"})
                                  .offset(0, 0, 0)
                                  .offset(1, 0, 2)
                                  .offset(2, 3, 0)
                                  .chain(0, {0, 1})
                                  .chain(1, {2}),
                              None, {0, 3}));
    save("queues",
         archiveOf(CollectionBuilder(2, 4).fillNumbers().conquer(1, 2).notify(0, 7, 1).notify(1, 8, 2), Both, {}));
    save("secondary",
         archiveOf(CollectionBuilder(2, 4).fillNumbers().conquer().notify(0, 7, 1).notify(1, 8, 2).activate(1), Both,
                   {}));
    Fuzz::Archive described = archiveOf(CollectionBuilder(2, 3).valueType("T", 8).fillNumbers(), None, {});
    described.files[Fuzz::kDescription] = "struct T { unsigned a; char b[4]; };\n";
    described.files[Fuzz::kFenix] = "FENX\x34\x12\x07";
    save("described", described);
}

void writeQueues(const std::string& directory) {
    const auto save = [&](const std::string& name, const CollectionBuilder& made) {
        Fuzz::Archive archive;
        for (unsigned char queue = 0; queue < 2; ++queue) {
            archive.files[static_cast<unsigned char>(Fuzz::kQueue + queue)] = made.conquerFile(queue);
        }
        write(directory, name, archive.encode());
    };
    save("empty", CollectionBuilder().conquer());
    save("unused", CollectionBuilder().conquer(2, 3));
    save("primary", CollectionBuilder().conquer().notify(0, 7, 1).notify(0, 8, 2).leftover(0, 6, 3).notify(1, 5, 1));
    save("secondary", CollectionBuilder().conquer(1).notify(1, ~std::uint64_t{0}, 1).growQueue(1, 2).activate(1));
}

void writeMaps(const std::string& directory) {
    const std::string begin = "7f0000-7f1000 r--s 00000000 00:13 12345                 ";
    Fuzz::Archive archive;
    archive.files[Fuzz::kMaps] = begin + "@/c/slots\n" + begin + "@/c/conquer.1\n" + begin + "/usr/lib/libc.so.6\n";
    archive.files[Fuzz::kCommandLine] = std::string("/bin/shadow\0-x\0", 15);
    archive.files[Fuzz::kExecutable] = "/bin/shadow";
    write(directory, "shadow", archive.encode());
    archive.files[Fuzz::kKinds + Fuzz::kMaps] = "7f0000-7f1000 rw-s 00000000 00:13 12345 @/c/slots\n" + begin +
                                                "@/d/e/slots (deleted)\n" + begin + "@/d/e/fenix\n";
    archive.files[Fuzz::kKinds + Fuzz::kExecutable] = "/bin/writer (deleted)";
    write(directory, "writer", archive.encode());
}

void writeExpressions(const std::string& directory) {
    const std::string names = "prices\nprices2\neu/orders\nodd*name\n";
    const char* const expressions[] = {"",         "prices",      "price",  "/eu",   "*",
                                       "@/prices", "@/eu/orders", "[a-p]*", "odd\\*"};
    unsigned count = 0;
    for (const char* const expression : expressions) {
        write(directory, std::to_string(++count), expression + ("\n" + names));
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: halyx_fuzz_seeds DIRECTORY\n");
        return 2;
    }
    try {
        const std::string directory = argv[1];
        writeCollections(directory + "/collection");
        writeQueues(directory + "/queues");
        writeMaps(directory + "/maps");
        writeExpressions(directory + "/expression");
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "halyx_fuzz_seeds: %s\n", exception.what());
        return 1;
    }
    return 0;
}
