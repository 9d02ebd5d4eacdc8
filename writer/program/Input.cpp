#include "writer/program/Input.h"

#include "Norvu/Exception.h"
#include "writer/Errors.h"
#include "writer/program/Stop.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace Halyx::Writer {

Input::Input(const std::string& path, const Stop& stop) : name_(path.empty() ? "standard input" : path), stop_(&stop) {
    if (!path.empty()) {
        file_ = Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (!file_.open()) {
            throwSystemError("cannot open " + path, errno);
        }
        descriptor_ = file_.get();
    }
}

bool Input::fill() {
    ssize_t got = -1;
    do {
        if (stop_->waitForInput(descriptor_)) {
            Norvu::RuntimeException::throwException("interrupted; nothing has been put in place");
        }
        got = ::read(descriptor_, buffer_.data(), buffer_.size());
    } while (got < 0 && (errno == EINTR || errno == EAGAIN));
    if (got < 0) {
        throwSystemError("cannot read " + name_, errno);
    }
    next_ = 0;
    end_ = static_cast<std::size_t>(got);
    return got != 0;
}

} // namespace Halyx::Writer
