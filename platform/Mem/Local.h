#pragma once

#include "Mem/Mode.h"
#include "Mem/View.h"
#include "Norvu/Debug.h"

#include <string>

namespace Mem {

/// Process-local memory that no file stands behind: a block of the heap or anonymous pages. Owns it.
class Local : public Norvu::Debuggable {
public:
    static const std::string HEAP;
    static const std::string ANONYMOUS;
    static constexpr unsigned kHeapFlag = 1;
    static constexpr unsigned LOCAL_DEFAULT_FLAGS = kHeapFlag;

    Local(Norvu::Platform::DebugHandler& handler, unsigned flags);
    ~Local() override;
    Local(const Local&) = delete;
    Local& operator=(const Local&) = delete;

    /// HEAP or ANONYMOUS; a mapped file's name in a derived class.
    [[nodiscard]] virtual const std::string& getFilename() const;

    /// `size` zeroed bytes, or null.
    void* attach(unsigned size, Mode mode);
    /// The same bytes in a block of `size`, which may have moved; null when there is no memory, and nothing has changed then.
    void* resize(unsigned size);
    /// Gives the memory back; 0, also when there was none.
    int detach();

    /// Bytes attached now.
    [[nodiscard]] unsigned size() const { return static_cast<unsigned>(view_.size()); }
    [[nodiscard]] bool attached() const { return base_ != nullptr; }
    [[nodiscard]] const void* base() const { return base_; }
    /// Everything attached now; stale after the next resize or detach.
    [[nodiscard]] const View& view() const { return view_; }

protected:
    void setRegion(void* base, unsigned size) {
        base_ = base;
        view_ = View(base, size, getFilename());
    }
    [[nodiscard]] void* region() const { return base_; }

private:
    void* base_ = nullptr;
    View view_;
    unsigned flags_;
};

} // namespace Mem
