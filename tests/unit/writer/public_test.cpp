// The library as other people's programs see it: everything through the installed headers, the files by a walk of the test's own.

#include "unit/writer/WriterTest.h"

#include <halyx/Writer.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/stat.h>
#include <thread>
#include <utility>

namespace {

struct Quote {
    char symbol[8];
    std::uint64_t volume;
};

Quote quote(const char* symbol, std::uint64_t volume) {
    Quote made{};
    std::strcpy(made.symbol, symbol);
    made.volume = volume;
    return made;
}

std::string keyOf(const Quote& value) {
    return {value.symbol, sizeof value.symbol};
}

class PublicWriter : public WriterTest {
protected:
    static halyx::Options quotes() {
        halyx::Options options;
        options.valueType = "Quote";
        options.valueSize = sizeof(Quote);
        options.keyOf = halyx::keyAt(offsetof(Quote, symbol), sizeof Quote::symbol);
        return options;
    }

    static std::uint64_t volumeOf(const halyx::Writer& writer, const char* symbol) {
        const auto found = writer.find(keyOf(quote(symbol, 0)));
        Quote value{};
        if (found) {
            std::memcpy(&value, found->data(), sizeof value);
        }
        return value.volume;
    }

    /// Fails unless `work` throws just that, with a text that holds `part`.
    template <typename Thrown, typename Work>
    static void expectThrown(const Work& work, const std::string& part) {
        try {
            work();
            ADD_FAILURE() << "nothing was thrown; wanted: " << part;
        } catch (const Thrown& thrown) {
            EXPECT_EQ(typeid(thrown), typeid(Thrown));
            EXPECT_NE(std::string(thrown.what()).find(part), std::string::npos) << thrown.what();
        }
    }

    void describe(const std::string& text) const { Fixtures::writeFile(root_.file("Quote.h"), text); }
};

TEST_F(PublicWriter, MakesACollectionThatReadersSeeOnceItIsPublished) {
    halyx::Writer writer = halyx::Writer::create("a/quotes", quotes());
    EXPECT_EQ(writer.put(halyx::bytesOf(quote("tea", 3))), halyx::PutResult::Inserted);
    EXPECT_TRUE(filesIn(pathOf("a/quotes")).empty());
    writer.publish();
    EXPECT_EQ(filesIn(pathOf("a/quotes")), (std::vector<std::string>{"buckets", "fenix", "slots"}));
    EXPECT_EQ(writer.name(), "a/quotes");
    EXPECT_EQ(halyx::Writer::valueTypeOf("a/quotes"), "Quote");
    EXPECT_EQ(halyx::Writer::valueTypeOf("a/none"), "");
    writer.close();
    EXPECT_EQ(filesIn(pathOf("a/quotes")), (std::vector<std::string>{"buckets", "fenix", "slots"}));
}

TEST_F(PublicWriter, LeavesNothingOfACollectionThatWasNeverPublished) {
    halyx::Writer::create("quotes", quotes()).put(halyx::bytesOf(quote("tea", 3)));
    EXPECT_TRUE(filesIn(pathOf("quotes")).empty());
    EXPECT_EQ(besideRoot(), std::vector<std::string>{"halyxes"});
}

TEST_F(PublicWriter, InsertsWhatIsNewUpdatesWhatIsThereAndErases) {
    halyx::Writer writer = halyx::Writer::create("quotes", quotes());
    const Quote first = quote("tea", 1);
    const Quote second = quote("tea", 2);
    EXPECT_FALSE(writer.update(keyOf(first), halyx::bytesOf(first)));
    EXPECT_EQ(writer.stats().elements, 0U);
    EXPECT_TRUE(writer.insert(keyOf(first), halyx::bytesOf(first)));
    EXPECT_FALSE(writer.insert(keyOf(second), halyx::bytesOf(second)));
    EXPECT_EQ(volumeOf(writer, "tea"), 1U);
    EXPECT_TRUE(writer.update(keyOf(second), halyx::bytesOf(second)));
    EXPECT_EQ(volumeOf(writer, "tea"), 2U);
    EXPECT_EQ(writer.put(halyx::bytesOf(first)), halyx::PutResult::Replaced);
    EXPECT_TRUE(writer.erase(keyOf(first)));
    EXPECT_FALSE(writer.erase(keyOf(first)));
    EXPECT_FALSE(writer.find(keyOf(first)).has_value());
    const halyx::Stats stats = writer.stats();
    EXPECT_EQ(stats.inserted, 1U);
    EXPECT_EQ(stats.replaced, 2U);
    EXPECT_EQ(stats.erased, 1U);
}

TEST_F(PublicWriter, GoesOnWithWhatAnotherWriterLeft) {
    {
        halyx::Writer writer = halyx::Writer::create("quotes", quotes());
        writer.put(halyx::bytesOf(quote("tea", 1)));
        writer.put(halyx::bytesOf(quote("sugar", 2)));
        writer.publish();
    }
    halyx::Options options = quotes();
    options.buckets = 7; // the collection's own count stays
    halyx::Writer writer = halyx::Writer::open("quotes", options);
    std::vector<std::string> symbols;
    writer.forEach([&](std::string_view value) { symbols.emplace_back(value.data()); });
    std::sort(symbols.begin(), symbols.end());
    EXPECT_EQ(symbols, (std::vector<std::string>{"sugar", "tea"}));
    EXPECT_EQ(writer.stats().buckets, 1024U);
    EXPECT_EQ(volumeOf(writer, "sugar"), 2U);
}

TEST_F(PublicWriter, HoldsTheDescriptionAgainstTheSize) {
    describe("struct Quote { char symbol[8]; uint64_t volume; };\n");
    halyx::Options options = quotes();
    options.description = root_.file("Quote.h");
    halyx::Writer::create("quotes", options);

    options.valueSize = 0;
    EXPECT_EQ(halyx::Writer::create("quotes", options).options().valueSize, 16U);

    options.valueSize = 24;
    expectThrown<halyx::RefusedError>([&] { halyx::Writer::create("quotes", options); },
                                      root_.file("Quote.h") + ":1: 'Quote' has 16 bytes");
    options.description = root_.file("none.h");
    expectThrown<halyx::RefusedError>([&] { halyx::Writer::create("quotes", options); },
                                      root_.file("none.h") + ":1: cannot be opened");
    EXPECT_TRUE(filesIn(pathOf("quotes")).empty());
}

TEST_F(PublicWriter, KnowsTheSizesOfTheBuiltInTypes) {
    halyx::Options options;
    for (const auto& [type, size] : {std::pair("U16", 2U), std::pair("double", 8U), std::pair("char[11]", 11U)}) {
        options.valueType = type;
        EXPECT_EQ(halyx::Writer::create("c", options).options().valueSize, size) << type;
    }
    options.valueType = "Unknown";
    expectThrown<halyx::RefusedError>([&] { halyx::Writer::create("c", options); }, "not 0");
}

TEST_F(PublicWriter, KeepsKeysOfItsOwnWhereValuesHaveNone) {
    halyx::Options options;
    options.valueType = "U32";
    halyx::Writer writer = halyx::Writer::create("numbers", options);
    const std::uint32_t seven = 7;
    writer.put("seven", halyx::bytesOf(seven));
    EXPECT_EQ(writer.find("seven"), halyx::bytesOf(seven));
    expectThrown<halyx::RefusedError>([&] { writer.put(halyx::bytesOf(seven)); }, "keyOf");
    writer.publish();
    writer.close();
    expectThrown<halyx::RefusedError>([&] { halyx::Writer::open("numbers", options); }, "keyOf");
}

TEST_F(PublicWriter, FindsAKeyInAShortValue) {
    const halyx::KeyOf key = halyx::keyAt(2, 4);
    EXPECT_EQ(key("abcdefgh"), "cdef");
    EXPECT_EQ(key("abcd"), "cd");
    EXPECT_EQ(key("a"), "");
}

TEST_F(PublicWriter, TellsWhatWasRefused) {
    halyx::Writer writer = halyx::Writer::create("quotes", quotes());
    expectThrown<halyx::RefusedError>([&] { writer.put("12345678"); }, "a value of 8 bytes");
    writer.publish();
    expectThrown<halyx::RefusedError>([&] { halyx::Writer::create("quotes", quotes()); }, "has a live writer");
    expectThrown<halyx::RefusedError>([&] { halyx::Writer::open("quotes", quotes()); }, "has a live writer");
    expectThrown<halyx::RefusedError>([&] { halyx::Writer::create("../quotes", quotes()); }, "");
    halyx::Writer other = std::move(writer);
    other.put(halyx::bytesOf(quote("tea", 1)));
    other.close();
    expectThrown<halyx::RefusedError>([&] { other.put(halyx::bytesOf(quote("tea", 1))); }, "has been closed");
    expectThrown<halyx::RefusedError>([&] { other.close(); }, "has been closed");
    EXPECT_EQ(other.options().valueSize, sizeof(Quote));
    expectThrown<halyx::RefusedError>([&] { halyx::Writer::open("none", quotes()); }, "there is no collection 'none'");
}

TEST_F(PublicWriter, TellsThatItIsFullAndGoesOn) {
    halyx::Options options = quotes();
    options.maxSlots = 2;
    halyx::Writer writer = halyx::Writer::create("quotes", options);
    writer.put(halyx::bytesOf(quote("tea", 1)));
    writer.put(halyx::bytesOf(quote("sugar", 1)));
    expectThrown<halyx::FullError>([&] { writer.put(halyx::bytesOf(quote("cocoa", 1))); }, "");
    writer.erase(keyOf(quote("tea", 0)));
    EXPECT_EQ(writer.put(halyx::bytesOf(quote("cocoa", 1))), halyx::PutResult::Inserted);
}

TEST_F(PublicWriter, TellsWhatIsDamagedAndLeavesIt) {
    {
        halyx::Writer writer = halyx::Writer::create("quotes", quotes());
        writer.put(halyx::bytesOf(quote("tea", 1)));
        writer.publish();
    }
    std::string slots = Fixtures::readFile(pathOf("quotes/slots"));
    slots[0] = 'X';
    Fixtures::writeFile(pathOf("quotes/slots"), slots);
    expectThrown<halyx::DamagedError>([&] { halyx::Writer::open("quotes", quotes()); }, "slots");
    expectThrown<halyx::DamagedError>([&] { (void)halyx::Writer::valueTypeOf("quotes"); }, "slots");
    EXPECT_EQ(Fixtures::readFile(pathOf("quotes/slots")), slots);
    EXPECT_EQ(besideRoot(), std::vector<std::string>{"halyxes"});
}

TEST_F(PublicWriter, TellsThatSomebodyHasOverwrittenAChain) {
    halyx::Options options = quotes();
    options.buckets = 1;
    options.growBuckets = false;
    halyx::Writer writer = halyx::Writer::create("quotes", options);
    writer.put(halyx::bytesOf(quote("tea", 1)));
    writer.put(halyx::bytesOf(quote("sugar", 2)));
    writer.publish();
    int visits = 0;
    const auto visit = [&](std::string_view) {
        if (++visits > 5000) {
            throw std::out_of_range("the walk does not end");
        }
    };
    // "tea" is in slot 0 and the last of the only chain; what follows it is at 4 in the slot.
    const auto leadTo = [&](std::int32_t slot) {
        std::fstream file(pathOf("quotes/slots"), std::ios::in | std::ios::out | std::ios::binary);
        const std::uint32_t array = (writer.options().slotSize + 199) / 8 * 8;
        file.seekp(array + 4).write(reinterpret_cast<const char*>(&slot), sizeof slot).flush();
        ASSERT_TRUE(file.good());
    };
    writer.forEach(visit);
    EXPECT_EQ(visits, 2);
    for (const std::int32_t slot : {0, 1, 1024, 0x7fffffff}) {
        leadTo(slot);
        visits = 0;
        expectThrown<halyx::DamagedError>([&] { writer.forEach(visit); }, "the chain of bucket 0 has been damaged");
        expectThrown<halyx::DamagedError>([&] { (void)writer.find(keyOf(quote("none", 0))); }, "has been damaged");
    }
}

TEST_F(PublicWriter, TellsWhatTheSystemSays) {
    expectThrown<halyx::SystemError>([] { (void)halyx::Writer::valueTypeOf(std::string(300, 'n')); },
                                     "errno: File name too long");
    Fixtures::writeFile(root_.file("file"), "");
    ::setenv("Q7_CHROOT", root_.file("file").c_str(), 1);
    EXPECT_EQ(halyx::Writer::valueTypeOf("quotes"), "");
    expectThrown<halyx::SystemError>([&] { halyx::Writer::create("quotes", quotes()); }, "errno: Not a directory");
}

TEST_F(PublicWriter, HandsOnWhatAVisitorThrows) {
    halyx::Writer writer = halyx::Writer::create("quotes", quotes());
    writer.put(halyx::bytesOf(quote("tea", 1)));
    expectThrown<std::out_of_range>([&] { writer.forEach([](std::string_view) { throw std::out_of_range("mine"); }); },
                                    "mine");
    // Also what looks as if it came from inside of the library.
    const std::filesystem::filesystem_error own("mine", std::error_code());
    expectThrown<std::filesystem::filesystem_error>([&] { writer.forEach([&](std::string_view) { throw own; }); },
                                                    "mine");
    EXPECT_EQ(volumeOf(writer, "tea"), 1U);
}

TEST_F(PublicWriter, GivesTheFilesTheModesThatWereAskedFor) {
    halyx::Options options = quotes();
    options.fileMode = 0664;
    options.directoryMode = 0775;
    halyx::Writer writer = halyx::Writer::create("quotes", options);
    writer.publish();
    struct stat status {};
    ASSERT_EQ(::stat(pathOf("quotes").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0775U);
    ASSERT_EQ(::stat(pathOf("quotes/slots").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0664U);
}

TEST_F(PublicWriter, LetsEachThreadHaveAWriterOfItsOwn) {
    constexpr std::uint64_t each = 2000;
    const auto write = [](const std::string& name) {
        halyx::Writer writer = halyx::Writer::create(name, quotes());
        writer.publish();
        for (std::uint64_t i = 0; i < each; ++i) {
            writer.put(halyx::bytesOf(quote(std::to_string(i % 100).c_str(), i)));
        }
    };
    std::vector<std::thread> threads;
    for (const char* const name : {"one", "two", "three"}) {
        threads.emplace_back(write, name);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const char* const name : {"one", "two", "three"}) {
        const halyx::Writer writer = halyx::Writer::open(name, quotes());
        EXPECT_EQ(writer.stats().elements, 100U);
        EXPECT_EQ(volumeOf(writer, "99"), each - 1);
    }
}

} // namespace
