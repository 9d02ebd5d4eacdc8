#pragma once

#include "fixtures/CollectionBuilder.h"

#include <atomic>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

/// Whether files get bytes that are zero where other bytes had been.
enum class Zeros { Never, Sometimes };

/// Changes one file of a collection after the other on a thread of its own, and puts each back as it was: without zeros another
/// one in its place, since a file that was cut and is stretched again has some for a moment. Without zeros no file is cut within
/// its header either, whose missing bytes would be zeros to the checks of its fields.
class FileChanger {
public:
    FileChanger(Fixtures::Collection collection, std::vector<std::string> files, Zeros zeros, unsigned seed);
    ~FileChanger();
    FileChanger(const FileChanger&) = delete;
    FileChanger& operator=(const FileChanger&) = delete;

    [[nodiscard]] unsigned changes() const { return changes_; }

private:
    void run();
    void change(const std::string& file);
    std::size_t cut(std::size_t size);
    void putInPlace(const std::string& file, const std::string& content) const;
    void punch(const std::string& file, std::size_t begin, std::size_t length) const;
    void restore(const std::string& file);

    Fixtures::Collection collection_;
    std::vector<std::string> files_;
    Zeros zeros_;
    std::map<std::string, std::string> contents_;
    std::mt19937 random_;
    std::atomic<bool> stop_{false};
    std::atomic<unsigned> changes_{0};
    std::thread thread_;
};
