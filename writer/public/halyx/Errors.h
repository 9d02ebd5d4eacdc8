#pragma once

#include <stdexcept>

/// What the shared library shows, and what it keeps to itself of that.
#define HALYX_API __attribute__((visibility("default")))
#define HALYX_HIDDEN __attribute__((visibility("hidden")))

namespace halyx {

/// The base of what this library throws on purpose; what() is one line for a person. Unless a class below says otherwise, the
/// operation that threw has changed no collection and the writer can be used on. What a function of your own throws (a KeyOf, a
/// visitor), and std::bad_alloc, pass through as they are.
class HALYX_API Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~Error() override;
};

/// A request that cannot be carried out as it stands: wrong options or a wrong name, a value of the wrong size, a collection
/// that has a live writer, a writer that has been closed. The program is to be mended, or the other writer ended.
class HALYX_API RefusedError : public Error {
public:
    using Error::Error;
    ~RefusedError() override;
};

/// No room: the table has as many slots as it may, a file would pass 4 GiB, or disk, quota, memory or descriptors have run out.
/// The same operation may succeed later.
class HALYX_API FullError : public Error {
public:
    using Error::Error;
    ~FullError() override;
};

/// The collection's files contradict themselves; the text names file, offset, value and expectation. Thrown by Writer::open(),
/// which then leaves the collection as it is, and by an operation that comes upon a chain that somebody has overwritten.
class HALYX_API DamagedError : public Error {
public:
    using Error::Error;
    ~DamagedError() override;
};

/// The system refused a file, a lock or a mapping for another reason; the text ends with its words.
class HALYX_API SystemError : public Error {
public:
    using Error::Error;
    ~SystemError() override;
};

} // namespace halyx
