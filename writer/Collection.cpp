#include "writer/Collection.h"

#include "Mem/RootPath.h"
#include "Norvu/Hash.h"
#include "writer/BucketFile.h"
#include "writer/CollectionDirectory.h"
#include "writer/ConquerQueues.h"
#include "writer/Errors.h"
#include "writer/ExistingCollection.h"
#include "writer/FenixFile.h"
#include "writer/SlabSet.h"
#include "writer/SlotFile.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>

namespace Halyx::Writer {

namespace {

std::uint32_t hashOf(std::string_view key) {
    return Norvu::Util::hash(key.data(), static_cast<unsigned>(key.size()));
}

/// An id that the incarnation before this one did not have; the time makes a repetition unlikely where there is none.
SharedMem::FenixId newFenix(const CollectionDirectory& directory, std::uint16_t wanted) {
    std::uint16_t instance = wanted;
    if (instance == 0) {
        const SharedMem::FenixId last = directory.replacedFenix();
        instance = static_cast<std::uint16_t>(
            last.value != 0 ? last.instance() + 1 : std::chrono::system_clock::now().time_since_epoch().count() / 1000);
        instance = instance == 0 ? 1 : instance;
    }
    return {static_cast<std::uint16_t>(::getpid()), instance};
}

Options completed(Options options) {
    complete(options);
    return options;
}

std::string_view bytesOf(const Plask::Layout::SlabOffset& offset, char (&buffer)[4]) {
    std::memcpy(buffer, &offset.word, sizeof buffer);
    return {buffer, sizeof buffer};
}

Plask::Layout::SlabOffset offsetIn(std::string_view stored) {
    Plask::Layout::SlabOffset offset;
    std::memcpy(&offset.word, stored.data(), sizeof offset.word);
    return offset;
}

} // namespace

/// The mapped files, and the keys when nothing else tells them.
struct Collection::Files {
    Files(const CollectionDirectory& directory, const Options& options, SharedMem::FenixId id)
        : fenix(directory, id, options.fileMode), slots(directory, options, id), buckets(directory, options, id) {
        if (options.dynamic) {
            slabs.emplace(directory, options, id);
        }
        if (options.conquer) {
            queues.emplace(directory, options, id);
        }
    }

    FenixFile fenix; // first, and so unlocked last
    SlotFile slots;
    BucketFile buckets;
    std::optional<SlabSet> slabs;
    std::optional<ConquerQueues> queues;
    std::unordered_map<std::string, std::uint32_t> index; ///< key to slot; empty when options.keyOf is set
};

/// An element, and the link that leads to it.
struct Collection::Found {
    std::uint32_t slot = 0;
    LinkPlace holder;
};

Collection::Collection(const std::string& name, Options options)
    : options_(completed(std::move(options))),
      directory_(std::make_unique<CollectionDirectory>(name, options_.directoryMode)),
      files_(std::make_unique<Files>(*directory_, options_, newFenix(*directory_, options_.instance))) {}

Collection::Collection(std::unique_ptr<CollectionDirectory> directory, Options options)
    : options_(completed(std::move(options))), directory_(std::move(directory)),
      files_(std::make_unique<Files>(*directory_, options_, newFenix(*directory_, options_.instance))) {}

Collection::~Collection() {
    if (files_) {
        close();
    }
}

std::unique_ptr<Collection> Collection::restart(const std::string& name, Options options) {
    if (!options.keyOf) {
        RefusedException::throwException("a collection is restarted with the keys of its elements, which keyOf gives");
    }
    auto directory = std::make_unique<CollectionDirectory>(name, options.directoryMode);
    if (!directory->replaces()) {
        RefusedException::throwException("there is no collection '" + directory->name() + "' to restart");
    }
    const ExistingCollection existing(directory->path());
    const std::string wanted = options.valueType;
    existing.describe(options);
    if (!wanted.empty() && options.valueType != wanted) {
        RefusedException::throwException("the collection '" + directory->name() + "' has values of type '" +
                                         options.valueType + "', not '" + wanted + "'");
    }
    std::unique_ptr<Collection> collection(new Collection(std::move(directory), std::move(options)));
    existing.forEach([&](std::string_view value) { collection->put(collection->options_.keyOf(value), value); });
    collection->counts_ = {};
    collection->publish();
    return collection;
}

std::string Collection::valueTypeOf(const std::string& name) {
    const std::string path = collectionsRoot() + "/" + CollectionDirectory::collectionName(name);
    const std::string slots = path + "/" + Layout::kSlotsFile;
    struct stat status {};
    if (::stat(slots.c_str(), &status) != 0) {
        if (errno != ENOENT && errno != ENOTDIR) {
            throwSystemError("cannot open " + slots, errno);
        }
        return {};
    }
    Options options;
    ExistingCollection(path).describe(options);
    return options.valueType;
}

Collection::Files& Collection::files() const {
    if (!files_) {
        RefusedException::throwException("the collection '" + directory_->name() + "' has been closed");
    }
    return *files_;
}

const std::string& Collection::name() const {
    return directory_->name();
}

void Collection::publish() {
    (void)files();
    directory_->publish();
}

std::string_view Collection::valueOf(std::uint32_t slot) const {
    const std::string_view stored = files_->slots.stored(slot);
    return files_->slabs ? files_->slabs->value(offsetIn(stored)) : stored;
}

/// A chain that somebody else has written into may lead anywhere, and may not end: no walk makes more steps than there are slots.
void Collection::checkStep(std::uint32_t bucket, std::uint32_t slot, std::uint32_t steps) const {
    if (slot >= files_->slots.count() || steps >= files_->slots.count()) {
        Norvu::CorruptionDetectedException::throwException(directory_->path() + ": the chain of bucket " +
                                                           std::to_string(bucket) + " has been damaged");
    }
}

/// Walks the chains that can hold the key.
std::optional<Collection::Found> Collection::locate(std::string_view key) const {
    const Files& files = this->files();
    const bool byIndex = !options_.keyOf;
    std::uint32_t wanted = 0;
    if (byIndex) {
        const auto entry = files.index.find(std::string(key));
        if (entry == files.index.end()) {
            return std::nullopt;
        }
        wanted = entry->second;
    }
    std::optional<Found> found;
    files.buckets.visitCandidates(hashOf(key), [&](std::uint32_t bucket) {
        LinkPlace holder = files.buckets.head(bucket);
        std::int32_t index = holder.load().index;
        for (std::uint32_t steps = 0; index >= 0; ++steps) {
            const auto slot = static_cast<std::uint32_t>(index);
            checkStep(bucket, slot, steps);
            if (byIndex ? slot == wanted : options_.keyOf(valueOf(slot)) == key) {
                found = Found{slot, holder};
                return true;
            }
            holder = files.slots.next(slot);
            index = holder.load().index;
        }
        return false;
    });
    return found;
}

std::optional<std::string_view> Collection::find(std::string_view key) const {
    const std::optional<Found> found = locate(key);
    return found ? std::optional(valueOf(found->slot)) : std::nullopt;
}

void Collection::checkSize(std::string_view value) const {
    if (options_.dynamic ? value.size() > options_.valueSize : value.size() != options_.valueSize) {
        RefusedException::throwException("a value of " + std::to_string(value.size()) +
                                         " bytes does not fit a collection whose values have " +
                                         (options_.dynamic ? "at most " : "") + std::to_string(options_.valueSize));
    }
}

PutResult Collection::put(std::string_view key, std::string_view value) {
    return *store(key, value, std::nullopt);
}

bool Collection::insert(std::string_view key, std::string_view value) {
    return store(key, value, PutResult::Inserted).has_value();
}

bool Collection::update(std::string_view key, std::string_view value) {
    return store(key, value, PutResult::Replaced).has_value();
}

/// Nothing, and nothing has changed, when another result is wanted than the one that this would have.
std::optional<PutResult> Collection::store(std::string_view key, std::string_view value,
                                           std::optional<PutResult> wanted) {
    Files& files = this->files();
    checkSize(value);
    if (files.slabs) {
        files.slabs->nextOperation();
    }
    const std::optional<Found> found = locate(key);
    const PutResult result = found ? PutResult::Replaced : PutResult::Inserted;
    if (wanted.value_or(result) != result) {
        return std::nullopt;
    }
    // All that can fail comes before the first store.
    if (files.slabs) {
        files.slabs->reserve(value.size());
    }
    if (found) {
        replaceSlot(found->slot, value);
    } else {
        insertSlot(key, value);
    }
    return result;
}

void Collection::replaceSlot(std::uint32_t slot, std::string_view value) {
    if (files_->slabs) {
        const Plask::Layout::SlabOffset old = offsetIn(files_->slots.stored(slot));
        char buffer[4];
        files_->slots.replace(slot, bytesOf(files_->slabs->insert(value), buffer));
        files_->slabs->retire(old);
    } else {
        files_->slots.replace(slot, value);
    }
    if (files_->queues) {
        files_->queues->append(slot);
    }
    ++counts_.replaced;
}

void Collection::insertSlot(std::string_view key, std::string_view value) {
    Files& files = *files_;
    files.slots.reserve();
    files.buckets.growFor(files.slots.occupied() + 1);
    if (!options_.keyOf) {
        files.index.emplace(key, files.slots.nextFree());
    }
    const LinkPlace head = files.buckets.head(files.buckets.bucketOf(hashOf(key)));
    const std::int32_t next = head.load().index;
    char buffer[4];
    const std::string_view stored = files.slabs ? bytesOf(files.slabs->insert(value), buffer) : value;
    const std::uint32_t slot = files.slots.insert(stored, next < 0 ? kEndOfChain : next);
    // Release: the element is complete before anything leads to it.
    head.publish(static_cast<std::int32_t>(slot));
    if (files.queues) {
        files.queues->append(slot);
    }
    ++counts_.inserted;
}

bool Collection::erase(std::string_view key) {
    Files& files = this->files();
    if (files.slabs) {
        files.slabs->nextOperation();
    }
    const std::optional<Found> found = locate(key);
    if (!found) {
        return false;
    }
    if (!options_.keyOf) {
        files.index.erase(std::string(key));
    }
    const Plask::Layout::SlabOffset old =
        files.slabs ? offsetIn(files.slots.stored(found->slot)) : Plask::Layout::SlabOffset();
    // Past the slot first, then the slot's own link: see SlotFile::release().
    found->holder.publish(files.slots.next(found->slot).load().index);
    files.slots.release(found->slot);
    if (files.slabs) {
        files.slabs->retire(old);
    }
    if (files.queues) {
        files.queues->append(found->slot);
    }
    ++counts_.erased;
    return true;
}

void Collection::forEach(const std::function<void(std::string_view)>& visit) const {
    const Files& files = this->files();
    std::uint32_t steps = 0; // of all chains together: each slot is in one of them at most
    for (std::uint32_t bucket = 0; bucket < files.buckets.count(); ++bucket) {
        for (std::int32_t index = files.buckets.head(bucket).load().index; index >= 0; ++steps) {
            const auto slot = static_cast<std::uint32_t>(index);
            checkStep(bucket, slot, steps);
            visit(valueOf(slot));
            index = files.slots.next(slot).load().index;
        }
    }
}

Stats Collection::stats() const {
    const Files& files = this->files();
    Stats stats = counts_;
    stats.elements = files.slots.occupied();
    stats.slots = files.slots.count();
    stats.buckets = files.buckets.count();
    stats.slotGrowths = files.slots.growths();
    stats.bucketGrowths = files.buckets.growths();
    stats.slabGrowths = files.slabs ? files.slabs->growths() : 0;
    stats.queueGrowths = files.queues ? files.queues->growths() : 0;
    stats.queueSwitches = files.queues ? files.queues->switches() : 0;
    return stats;
}

void Collection::close() {
    if (files().slabs) {
        files().slabs->releaseAll();
    }
    files_.reset();
}

} // namespace Halyx::Writer
