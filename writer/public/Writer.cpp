#include <halyx/Writer.h>

#include "Norvu/Exception.h"
#include "writer/Collection.h"
#include "writer/Errors.h"

#include <utility>

namespace halyx {

namespace {

using Halyx::Writer::Collection;

/// Calls `work`, and throws what leaves it from inside of the library as what the public headers name.
template <typename Work>
decltype(auto) translated(Work&& work) {
    try {
        return std::forward<Work>(work)();
    } catch (const Halyx::Writer::RefusedException& exception) {
        throw RefusedError(exception.msg());
    } catch (const Norvu::MemoryResourceException& exception) {
        throw FullError(exception.msg());
    } catch (const Norvu::CorruptionDetectedException& exception) {
        throw DamagedError(exception.msg());
    } catch (const Norvu::Exception& exception) {
        throw SystemError(exception.msg());
    }
}

} // namespace

class Writer::Implementation {
public:
    explicit Implementation(std::unique_ptr<Collection> made) : collection(std::move(made)) {}

    std::unique_ptr<Collection> collection;
};

Writer::Writer(std::unique_ptr<Implementation> implementation) : implementation_(std::move(implementation)) {}
Writer::Writer(Writer&& other) noexcept = default;
Writer& Writer::operator=(Writer&& other) noexcept = default;
Writer::~Writer() = default;

Writer Writer::create(const std::string& name, const Options& options) {
    return translated(
        [&] { return Writer(std::make_unique<Implementation>(std::make_unique<Collection>(name, options))); });
}

Writer Writer::open(const std::string& name, const Options& options) {
    return translated([&] { return Writer(std::make_unique<Implementation>(Collection::restart(name, options))); });
}

std::string Writer::valueTypeOf(const std::string& name) {
    return translated([&] { return Collection::valueTypeOf(name); });
}

Writer::Implementation& Writer::implementation() const {
    if (!implementation_) {
        throw RefusedError("this writer's collection has been moved to another one");
    }
    return *implementation_;
}

void Writer::publish() {
    translated([&] { implementation().collection->publish(); });
}

PutResult Writer::put(std::string_view key, std::string_view value) {
    return translated([&] { return implementation().collection->put(key, value); });
}

PutResult Writer::put(std::string_view value) {
    if (!options().keyOf) {
        throw RefusedError("a value is stored without its key only where keyOf finds it");
    }
    return put(options().keyOf(value), value);
}

bool Writer::insert(std::string_view key, std::string_view value) {
    return translated([&] { return implementation().collection->insert(key, value); });
}

bool Writer::update(std::string_view key, std::string_view value) {
    return translated([&] { return implementation().collection->update(key, value); });
}

bool Writer::erase(std::string_view key) {
    return translated([&] { return implementation().collection->erase(key); });
}

std::optional<std::string_view> Writer::find(std::string_view key) const {
    return translated([&] { return std::as_const(*implementation().collection).find(key); });
}

void Writer::forEach(const std::function<void(std::string_view value)>& visit) const {
    translated([&] { implementation().collection->forEach(visit); });
}

void Writer::close() {
    translated([&] { implementation().collection->close(); });
}

Stats Writer::stats() const {
    return translated([&] { return implementation().collection->stats(); });
}

const std::string& Writer::name() const {
    return implementation().collection->name();
}

const Options& Writer::options() const {
    return implementation().collection->options();
}

} // namespace halyx
