// The worked examples of docs/format: each page's bytes are what the writer makes of the page's story, and what the page says
// that halyx prints is what it prints of those bytes. The pages' writer is process 1337; where the files have the real one's id,
// the page's is put in its place.

#include "Halyx/FenixLayout.h"
#include "cli/CliTest.h"
#include "writer/Collection.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

using namespace Fixtures;
using Halyx::Writer::Options;

namespace {

constexpr std::uint32_t kPagePid = 1337;
constexpr std::uint16_t kPageInstance = 1;

/// One page of docs/format, taken apart.
class Page {
public:
    explicit Page(const std::string& name)
        : name_(name), text_(readFile(std::string(HALYX_SOURCE_DIR) + "/docs/format/" + name + ".md")) {
        std::istringstream lines(text_);
        for (std::string line; std::getline(lines, line);) {
            if (line == "```") {
                if (!inside_) {
                    blocks_.emplace_back();
                }
                inside_ = !inside_;
            } else if (inside_) {
                blocks_.back().push_back(line);
            } else if (!line.empty() && line[0] == '|') {
                tables_.emplace_back(blocks_.size(), line);
            }
        }
        EXPECT_FALSE(inside_) << name << ": a block that does not end";
    }

    /// The bytes of the worked example. Fails when a line's text column is not its bytes' or its offset not the next one.
    [[nodiscard]] std::string bytes() const {
        std::string bytes;
        for (const std::string& line : blocks_.at(exampleBlock())) {
            if (line.find("...") == 8) {
                skipped_ = true; // as NULs, up to the next line's offset
                continue;
            }
            const std::size_t offset = std::stoul(line.substr(0, 6), nullptr, 16);
            if (skipped_) {
                bytes.resize(offset);
                skipped_ = false;
            }
            EXPECT_EQ(offset, bytes.size()) << name_ << ": " << line;
            const std::size_t bar = line.find('|');
            std::string shown;
            std::istringstream digits(line.substr(6, bar - 6));
            for (std::string byte; digits >> byte;) {
                bytes += static_cast<char>(std::stoul(byte, nullptr, 16));
                shown += bytes.back() >= ' ' && bytes.back() <= '~' ? bytes.back() : '.';
            }
            EXPECT_EQ(line.substr(bar, shown.size() + 2), "|" + shown + "|") << name_ << ": " << line;
        }
        return bytes;
    }

    /// What the page says is printed: the block number `index` behind the worked example.
    [[nodiscard]] std::string printed(std::size_t index) const {
        std::string text;
        for (const std::string& line : blocks_.at(exampleBlock() + 1 + index)) {
            text += line + "\n";
        }
        return text;
    }

    /// Each field of a table stands in the diagram above it where its offset says.
    void expectDiagramsToFitTheTables() const {
        unsigned fields = 0;
        for (const auto& [blocks, row] : tables_) {
            std::istringstream cells(row.substr(1));
            std::string offset;
            std::string size;
            std::string field;
            std::getline(cells, offset, '|');
            std::getline(cells, size, '|');
            std::getline(cells, field, '|');
            if (offset.find_first_of("0123456789") == std::string::npos) {
                continue; // the heading, or the line below it
            }
            const std::size_t at = std::stoul(offset);
            field.erase(std::remove(field.begin(), field.end(), '`'), field.end());
            field = field.substr(1, field.find_last_not_of(' '));
            std::ostringstream label;
            label.width(4);
            label << at / 8 * 8;
            bool found = false;
            for (const std::string& line : blocks_.at(blocks - 1)) {
                const std::size_t column = 6 + at % 8 * 8;
                found = found || (line.compare(0, 4, label.str()) == 0 && line.size() > column &&
                                  line.compare(column, field.size() + 2, "| " + field) == 0);
            }
            EXPECT_TRUE(found) << name_ << ": the diagram does not have '" << field << "' at " << at;
            ++fields;
        }
        EXPECT_GE(fields, 2U) << name_;
    }

private:
    [[nodiscard]] std::size_t exampleBlock() const {
        for (std::size_t block = 0; block < blocks_.size(); ++block) {
            if (!blocks_[block].empty() && blocks_[block].front().compare(0, 8, "000000  ") == 0) {
                return block;
            }
        }
        throw std::runtime_error(name_ + ": no worked example");
    }

    std::string name_;
    std::string text_;
    bool inside_ = false;
    mutable bool skipped_ = false;
    std::vector<std::vector<std::string>> blocks_;
    std::vector<std::pair<std::size_t, std::string>> tables_; ///< rows, each with the number of blocks above it
};

class FormatPages : public CliTest {
protected:
    void SetUp() override { ::setenv("Q7_CHROOT", root_.path().c_str(), 1); }
    void TearDown() override { ::unsetenv("Q7_CHROOT"); }

    [[nodiscard]] Collection files(const std::string& name) const { return {root_.collections() + "/" + name, name}; }

    /// A file's bytes with the pages' process in place of this one.
    static std::string asOnThePage(std::string bytes, std::size_t fenixOffset) {
        const SharedMem::FenixId real(static_cast<std::uint32_t>(kPageInstance) << 16 |
                                      (static_cast<std::uint32_t>(::getpid()) & 0xffff));
        const std::uint32_t page = std::uint32_t{kPageInstance} << 16 | kPagePid;
        EXPECT_EQ(bytes.substr(fenixOffset, 4), bytesOf(real));
        return bytes.replace(fenixOffset, 4, bytesOf(page));
    }

    /// The file holds the page's bytes, and has them exactly from now on.
    void expectAndPut(const Collection& collection, const std::string& file, const Page& page,
                      std::size_t fenixOffset = offsetof(Halyx::Layout::SlotTableHeader, fenix)) const {
        std::string bytes = asOnThePage(collection.bytes(file), fenixOffset);
        if (file == "buckets") {
            constexpr std::size_t owner = offsetof(Halyx::Layout::BucketTableHeader, ownerPid);
            EXPECT_EQ(bytes.substr(owner, 4), bytesOf(static_cast<std::uint32_t>(::getpid())));
            bytes.replace(owner, 4, bytesOf(kPagePid));
        }
        EXPECT_EQ(hexOf(bytes), hexOf(page.bytes())) << file;
        collection.replace(file, page.bytes());
    }

    static std::string number(std::uint64_t value) { return bytesOf(value); }

    /// What slots.md and buckets.md tell of.
    Collection ports() {
        Options options;
        options.valueType = "uint64_t";
        options.classType = "Counter";
        options.valueSize = 8;
        options.buckets = 4;
        options.slots = 4;
        options.maxSlots = 1024;
        options.instance = kPageInstance;
        Halyx::Writer::Collection collection("ports", options);
        collection.put("smtp", number(25));
        collection.put("https", number(443));
        collection.put("http", number(80));
        collection.put("smtp", number(465));
        collection.erase("https");
        collection.publish();
        collection.close();
        return files("ports");
    }
};

TEST_F(FormatPages, DiagramsShowWhatTheTablesSay) {
    for (const char* page : {"slots", "slab", "buckets", "conquer", "fenix"}) {
        Page(page).expectDiagramsToFitTheTables();
    }
}

TEST_F(FormatPages, SlotsAndBucketsAreWhatTheirStoryMakes) {
    const Page slots("slots");
    const Page buckets("buckets");
    const Collection collection = ports();
    expectAndPut(collection, "slots", slots);
    expectAndPut(collection, "buckets", buckets);
    expectOutcome(halyx({"ports"}), 0, slots.printed(0) + statistics(), "");
    const Outcome headers = halyx({"-x", "ports"});
    expectClean(headers);
    expectPart(headers.out, "\n\n" + buckets.printed(0) + "\n" + slots.printed(1) + "\n");
}

TEST_F(FormatPages, ASlabIsWhatItsStoryMakes) {
    Options options;
    options.valueType = "text";
    options.valueSize = 16;
    options.dynamic = true;
    options.buckets = 1;
    options.slots = 1;
    options.slabPayloads = {16};
    options.slabEntries = 3;
    options.instance = kPageInstance;
    Halyx::Writer::Collection writer("words", options);
    writer.put("greeting", "hello");
    writer.publish();
    writer.close();
    const Page page("slab");
    const Collection collection = files("words");
    expectAndPut(collection, "slab0", page);
    expectOutcome(halyx({"words"}), 0, page.printed(0) + statistics(), "");
    const Outcome headers = halyx({"-x", "words"});
    expectClean(headers);
    expectPart(headers.out, page.printed(1));
}

TEST_F(FormatPages, AQueueIsWhatItsStoryMakes) {
    Options options;
    options.valueType = "U8";
    options.valueSize = 1;
    options.buckets = 1;
    options.slots = 2;
    options.conquer = true;
    options.notifications = 4;
    options.instance = kPageInstance;
    Halyx::Writer::Collection writer("noted", options);
    writer.put("a", "1");
    writer.put("b", "2");
    writer.publish();
    writer.close();
    const Page page("conquer");
    const Collection collection = files("noted");
    expectAndPut(collection, "conquer.1", page);
    const Outcome queues = halyx({"-q", "-v", "noted"});
    expectClean(queues);
    expectPart(queues.out, page.printed(0));
}

TEST_F(FormatPages, FenixIsWhatItsStoryMakes) {
    const Collection collection = ports();
    expectAndPut(collection, "fenix", Page("fenix"), offsetof(Halyx::Layout::FenixFile, fenix));
}

} // namespace
