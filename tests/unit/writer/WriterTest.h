#pragma once

#include "fixtures/Bytes.h"
#include "fixtures/ScratchRoot.h"
#include "unit/writer/FileWalk.h"
#include "writer/Collection.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// Collections below a root of the test's own.
class WriterTest : public ::testing::Test {
protected:
    WriterTest() { ::setenv("Q7_CHROOT", root_.path().c_str(), 1); }
    ~WriterTest() override { ::unsetenv("Q7_CHROOT"); }

    [[nodiscard]] std::string pathOf(const std::string& collection) const {
        return root_.collections() + "/" + collection;
    }

    /// The names in a directory, sorted.
    static std::vector<std::string> filesIn(const std::string& path) {
        std::vector<std::string> names;
        if (DIR* directory = ::opendir(path.c_str())) {
            while (const dirent* entry = ::readdir(directory)) {
                const std::string name = static_cast<const char*>(entry->d_name);
                if (name != "." && name != "..") {
                    names.push_back(name);
                }
            }
            ::closedir(directory);
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    /// What is beside the collections' root, where nothing may be left.
    [[nodiscard]] std::vector<std::string> besideRoot() const { return filesIn(root_.path() + "/var/shmem"); }

    /// A static collection of 16-byte values: a key and a number.
    static Halyx::Writer::Options pairs() {
        Halyx::Writer::Options options;
        options.valueType = "Pair";
        options.classType = "Test";
        options.valueSize = 16;
        options.buckets = 4;
        options.slots = 4;
        options.keyOf = [](std::string_view value) { return value.substr(0, 8); };
        return options;
    }
    /// A dynamic one of values of 8 to 100 bytes that begin with their key.
    static Halyx::Writer::Options texts() {
        Halyx::Writer::Options options = pairs();
        options.dynamic = true;
        options.valueSize = 100;
        options.slabEntries = 4;
        return options;
    }

    static std::string key(std::uint64_t number) { return Fixtures::bytesOf(number); }
    static std::string pair(std::uint64_t number, std::uint64_t content) {
        return Fixtures::bytesOf(number) + Fixtures::bytesOf(content);
    }

    /// The values of a model, sorted.
    static std::vector<std::string> sorted(const std::map<std::string, std::string>& model) {
        std::vector<std::string> values;
        for (const auto& [name, value] : model) {
            values.push_back(value);
        }
        std::sort(values.begin(), values.end());
        return values;
    }
    static std::vector<std::string> sorted(std::vector<std::string> values) {
        std::sort(values.begin(), values.end());
        return values;
    }

    /// Makes `count` random changes to a collection and to its model alike.
    static void change(Halyx::Writer::Collection& collection, std::map<std::string, std::string>& model,
                       std::mt19937& random, unsigned count, unsigned keys) {
        for (unsigned i = 0; i < count; ++i) {
            const std::string name = key(random() % keys);
            if (random() % 3 == 0) {
                EXPECT_EQ(collection.erase(name), model.erase(name) != 0);
                continue;
            }
            const std::size_t more = collection.options().dynamic ? random() % 93 : 8;
            std::string value = name;
            for (std::size_t byte = 0; byte < more; ++byte) {
                value += static_cast<char>(random());
            }
            const auto expected =
                model.count(name) != 0 ? Halyx::Writer::PutResult::Replaced : Halyx::Writer::PutResult::Inserted;
            EXPECT_EQ(collection.put(name, value), expected);
            model[name] = value;
        }
    }

    Fixtures::ScratchRoot root_;
};
