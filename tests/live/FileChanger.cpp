#include "live/FileChanger.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace Fixtures;

namespace {

constexpr std::size_t kHeaders = 4096; ///< no file's header is longer

} // namespace

FileChanger::FileChanger(Collection collection, std::vector<std::string> files, Zeros zeros, unsigned seed)
    : collection_(std::move(collection)), files_(std::move(files)), zeros_(zeros), random_(seed) {
    for (const std::string& file : files_) {
        contents_[file] = collection_.bytes(file);
    }
    thread_ = std::thread([this] { run(); });
}

FileChanger::~FileChanger() {
    stop_ = true;
    thread_.join();
}

void FileChanger::run() {
    while (!stop_) {
        const std::string& file = files_[random_() % files_.size()];
        ::usleep(static_cast<useconds_t>(random_() % 3000));
        change(file);
        ::usleep(static_cast<useconds_t>(random_() % 3000));
        restore(file);
        ++changes_;
    }
}

void FileChanger::change(const std::string& file) {
    const std::string& content = contents_[file];
    const std::size_t size = content.size();
    switch (random_() % (zeros_ == Zeros::Sometimes ? 8 : 6)) {
    case 0:
        collection_.truncate(file, cut(size));
        break;
    case 1:
        collection_.truncate(file, 0);
        break;
    case 2:
        collection_.remove(file);
        break;
    case 3:
        putInPlace(file, content);
        break;
    case 4:
        putInPlace(file, content.substr(0, cut(size)));
        break;
    case 5: // something that is no file at all
        if (random_() % 2 == 0) {
            collection_.replaceWithFifo(file);
        } else {
            collection_.replaceWithDirectory(file);
        }
        break;
    case 6: // stretched, perhaps after a cut
        collection_.truncate(file, random_() % (2 * size));
        collection_.truncate(file, size + random_() % 2 * 100000);
        break;
    default:
        punch(file, random_() % size, random_() % size);
    }
}

/// How much of a file is left.
std::size_t FileChanger::cut(std::size_t size) {
    const std::size_t least = zeros_ == Zeros::Never && size > kHeaders ? kHeaders : 0;
    return least + random_() % (size - least);
}

/// Another file under that name.
void FileChanger::putInPlace(const std::string& file, const std::string& content) const {
    writeFile(collection_.path() + ".new", content);
    std::filesystem::rename(collection_.path() + ".new", collection_.file(file));
}

void FileChanger::punch(const std::string& file, std::size_t begin, std::size_t length) const {
    const int descriptor = ::open(collection_.file(file).c_str(), O_WRONLY | O_CLOEXEC);
    // Where the file system makes no holes, there is one change less.
    (void)!::fallocate(descriptor, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(begin),
                       static_cast<off_t>(length + 1));
    ::close(descriptor);
}

/// With zeros, in place where the file is still there: a report that has it mapped sees its bytes come back.
void FileChanger::restore(const std::string& file) {
    const std::string path = collection_.file(file);
    const std::string& content = contents_[file];
    if (!std::filesystem::is_regular_file(path)) {
        std::filesystem::remove_all(path);
    }
    if (zeros_ == Zeros::Never) {
        putInPlace(file, content);
        return;
    }
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (::pwrite(descriptor, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size()) ||
        ::ftruncate(descriptor, static_cast<off_t>(content.size())) != 0) {
        ADD_FAILURE() << "cannot put " << path << " back";
    }
    ::close(descriptor);
}
