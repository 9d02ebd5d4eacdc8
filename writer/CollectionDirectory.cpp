#include "writer/CollectionDirectory.h"

#include "Halyx/FenixLayout.h"
#include "Halyx/Util.h"
#include "Mem/RootPath.h"
#include "writer/Errors.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Halyx::Writer {

namespace {

constexpr const char* kSparePrefix = ".halyxes-new.";

/// The entries of an open directory but "." and "..".
std::vector<std::string> entries(int directory, const std::string& path) {
    const int copy = ::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* stream = copy < 0 ? nullptr : ::fdopendir(copy);
    if (stream == nullptr) {
        const int error = errno;
        if (copy >= 0) {
            ::close(copy);
        }
        throwSystemError("cannot read the directory " + path, error);
    }
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(stream)) {
        const std::string name = static_cast<const char*>(entry->d_name);
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    ::closedir(stream);
    return names;
}

Descriptor openDirectory(int at, const std::string& path) {
    return Descriptor(::openat(at, path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW));
}

/// Makes a directory of exactly that mode, whatever the process's mask. False when something is there already.
bool makeDirectory(const std::string& path, mode_t mode) {
    if (::mkdir(path.c_str(), mode & 0777) == 0) {
        if (::chmod(path.c_str(), mode) != 0) {
            throwSystemError("cannot set the mode of " + path, errno);
        }
        return true;
    }
    if (errno != EEXIST) {
        throwSystemError("cannot make the directory " + path, errno);
    }
    return false;
}

/// Every missing directory above `path`.
void makeParents(const std::string& path, mode_t mode) {
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        const std::string parent = path.substr(0, slash);
        struct stat status {};
        if (::stat(parent.c_str(), &status) != 0) {
            makeDirectory(parent, mode);
        }
    }
}

/// Removes a collection's directory: its own files, and itself when nothing else is in it.
void removeCollection(int at, const std::string& name) {
    const Descriptor directory = openDirectory(at, name);
    if (!directory.open()) {
        return;
    }
    for (const std::string& file : entries(directory.get(), name)) {
        if (Util::isHalyxFile(file)) {
            ::unlinkat(directory.get(), file.c_str(), 0);
        }
    }
    ::unlinkat(at, name.c_str(), AT_REMOVEDIR);
}

} // namespace

Descriptor::~Descriptor() {
    if (number_ >= 0) {
        ::close(number_);
    }
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        if (number_ >= 0) {
            ::close(number_);
        }
        number_ = other.number_;
        other.number_ = -1;
    }
    return *this;
}

std::string CollectionDirectory::collectionName(const std::string& text) {
    const std::string root = collectionsRoot() + "/";
    std::string name = text.compare(0, root.size(), root) == 0 ? text.substr(root.size()) : text;
    name.erase(0, name.find_first_not_of('/'));
    name.erase(name.find_last_not_of('/') + 1);
    bool good = !name.empty() && name.find('\0') == std::string::npos;
    for (std::size_t begin = 0; good && begin <= name.size();) {
        const std::size_t end = std::min(name.find('/', begin), name.size());
        const std::string component = name.substr(begin, end - begin);
        good = !component.empty() && component != "." && component != ".." && !Util::isHalyxFile(component);
        begin = end + 1;
    }
    if (!good) {
        RefusedException::throwException("'" + text + "' cannot be the name of a collection");
    }
    return name;
}

CollectionDirectory::CollectionDirectory(const std::string& name, mode_t mode)
    : name_(collectionName(name)), path_(collectionsRoot() + "/" + name_) {
    makeParents(path_, mode);
    const std::string root = collectionsRoot();
    // A reader finds no collection inside another.
    for (std::size_t slash = path_.find('/', root.size() + 1); slash != std::string::npos;
         slash = path_.find('/', slash + 1)) {
        const std::string above = path_.substr(0, slash);
        for (const char* file : {"/slots", "/buckets", "/fenix"}) {
            struct stat status {};
            if (::stat((above + file).c_str(), &status) == 0) {
                RefusedException::throwException("'" + name_ + "' lies inside the collection '" +
                                                 above.substr(root.size() + 1) + "'");
            }
        }
    }
    const std::string beside = root.substr(0, root.rfind('/'));
    beside_ = Descriptor(::open(beside.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!beside_.open()) {
        throwSystemError("cannot open the directory " + beside, errno);
    }
    lockReplaced();
    sweep();

    static std::atomic<unsigned> serial{0};
    do {
        spare_ = kSparePrefix + std::to_string(::getpid()) + "." + std::to_string(++serial);
    } while (!makeDirectory(beside + "/" + spare_, mode));
    directory_ = openDirectory(beside_.get(), spare_);
    if (!directory_.open()) {
        throwSystemError("cannot open the directory " + beside + "/" + spare_, errno);
    }
}

CollectionDirectory::~CollectionDirectory() {
    if (!published_) {
        try {
            removeCollection(beside_.get(), spare_);
        } catch (const Norvu::Exception&) {
            // Left for the next writer's sweep.
        }
    }
}

/// Looks at what is in the collection's place; when that is an incarnation, locks it.
void CollectionDirectory::lockReplaced() {
    for (;;) {
        const Descriptor there = openDirectory(AT_FDCWD, path_);
        if (!there.open()) {
            if (errno == ENOENT) {
                return;
            }
            throwSystemError("cannot open the directory " + path_, errno);
        }
        const std::vector<std::string> files = entries(there.get(), path_);
        for (const std::string& file : files) {
            if (!Util::isHalyxFile(file)) {
                RefusedException::throwException(path_ + " is more than a collection: it holds '" + file + "'");
            }
        }
        if (files.empty()) {
            emptyInPlace_ = true;
            return;
        }
        Descriptor fenix(
            ::openat(there.get(), Layout::kFenixFile, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
        struct stat status {};
        if (!fenix.open() || ::fstat(fenix.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
            RefusedException::throwException(path_ +
                                             " has no file 'fenix' that can be opened, so nobody can tell whether its "
                                             "writer lives; remove the directory to make the collection anew");
        }
        if (::flock(fenix.get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK) {
                throwSystemError("cannot lock " + path_ + "/fenix", errno);
            }
            RefusedException::throwException("the collection '" + name_ + "' has a live writer");
        }
        // Another writer may have put its incarnation in place, and given up this lock, before we got it.
        struct stat now {};
        if (::stat((path_ + "/" + Layout::kFenixFile).c_str(), &now) == 0 && now.st_dev == status.st_dev &&
            now.st_ino == status.st_ino) {
            replaced_ = std::move(fenix);
            return;
        }
    }
}

SharedMem::FenixId CollectionDirectory::replacedFenix() const {
    Layout::FenixFile content{};
    if (!replaces() || ::pread(replaced_.get(), &content, sizeof content, 0) != ssize_t{sizeof content} ||
        content.magic != Layout::kFenixMagic) {
        return {};
    }
    return content.fenix;
}

/// Removes what writers that were killed have left beside the root.
void CollectionDirectory::sweep() const {
    const std::size_t prefix = std::strlen(kSparePrefix);
    for (const std::string& name : entries(beside_.get(), path_)) {
        pid_t owner = 0;
        if (name.compare(0, prefix, kSparePrefix) != 0 ||
            std::from_chars(name.data() + prefix, name.data() + name.size(), owner).ec != std::errc{} || owner <= 0 ||
            ::kill(owner, 0) == 0 || errno != ESRCH) {
            continue;
        }
        const Descriptor fenix(::openat(beside_.get(), (name + "/" + Layout::kFenixFile).c_str(),
                                        O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
        ::unlinkat(beside_.get(), name.c_str(), 0); // a slab on its way; fails on a directory
        // A process that we cannot see (of another container) may own it still.
        if (!fenix.open() || ::flock(fenix.get(), LOCK_EX | LOCK_NB) == 0) {
            removeCollection(beside_.get(), name);
        }
    }
}

void CollectionDirectory::place(const std::string& spareName, const std::string& name) const {
    if (::renameat(beside_.get(), spareName.c_str(), directory_.get(), name.c_str()) != 0) {
        const int error = errno;
        discard(spareName);
        throwSystemError("cannot put " + path_ + "/" + name + " in place", error);
    }
}

void CollectionDirectory::discard(const std::string& spareName) const {
    ::unlinkat(beside_.get(), spareName.c_str(), 0);
}

void CollectionDirectory::publish() {
    const bool exchange = replaces() || emptyInPlace_;
    const unsigned how = exchange ? RENAME_EXCHANGE : RENAME_NOREPLACE;
    if (::renameat2(beside_.get(), spare_.c_str(), AT_FDCWD, path_.c_str(), how) != 0) {
        throwSystemError("cannot put the collection in place at " + path_, errno);
    }
    published_ = true;
    if (exchange) {
        // Readers that have mapped these files keep them.
        removeCollection(beside_.get(), spare_);
    }
    replaced_ = Descriptor();
}

} // namespace Halyx::Writer
