#include "fuzz/room/Watch.h"

#include "Norvu/Exception.h"
#include "fixtures/Bytes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ios>
#include <iostream>
#include <stdexcept>
#include <streambuf>

namespace Fuzz {

namespace {

/// Keeps what is written, up to a limit that no sound report reaches.
class Kept final : public std::streambuf {
public:
    Kept(const std::string& what, std::size_t most) : what_(what), most_(most) {}

    [[nodiscard]] std::string take() { return std::move(text_); }

protected:
    std::streamsize xsputn(const char* data, std::streamsize size) override {
        text_.append(data, static_cast<std::size_t>(size));
        if (text_.size() > most_) {
            fail(what_, "writes more than " + std::to_string(most_) + " bytes", text_);
        }
        return size;
    }
    int_type overflow(int_type byte) override {
        const char data = traits_type::to_char_type(byte);
        return xsputn(&data, 1) == 1 ? byte : traits_type::eof();
    }

private:
    const std::string& what_;
    std::size_t most_;
    std::string text_;
};

/// Puts a buffer into a standard stream's place, and everything back at the end.
class Redirected {
public:
    Redirected(std::ostream& stream, std::streambuf& buffer)
        : stream_(stream), before_(stream.rdbuf(&buffer)), format_(nullptr) {
        format_.copyfmt(stream);
    }
    ~Redirected() {
        stream_.rdbuf(before_);
        stream_.copyfmt(format_);
        stream_.clear();
    }
    Redirected(const Redirected&) = delete;
    Redirected& operator=(const Redirected&) = delete;

private:
    std::ostream& stream_;
    std::streambuf* before_;
    std::ios format_;
};

} // namespace

Said watch(const std::string& what, std::size_t most, const std::function<int()>& report) {
    Kept out(what, most);
    Kept err(what, most);
    Said said;
    {
        const Redirected cout(std::cout, out);
        const Redirected cerr(std::cerr, err);
        try {
            said.status = report();
        } catch (const Norvu::Exception& exception) {
            said.exception = exception.msg();
        } catch (const std::exception& exception) {
            fail(what, std::string("throws what it does not promise: ") + exception.what());
        }
    }
    said.out = out.take();
    said.err = err.take();
    if (said.status != 0 && said.status != 1) {
        fail(what, "returns " + std::to_string(said.status));
    }
    return said;
}

void expectPrintable(const std::string& what, const std::string& text) {
    char before = '\n';
    for (std::size_t at = 0; at < text.size(); before = text[at++]) {
        const char byte = text[at];
        // The headers' lines are set in by tabs; no text of a file begins a line.
        const bool indents = byte == '\t' && (before == '\n' || before == '\t');
        if (!indents && byte != '\n' && (byte < 0x20 || byte > 0x7e)) {
            fail(what, "writes a byte " + Fixtures::hexOf({byte}), text.substr(at - std::min<std::size_t>(at, 80)));
        }
    }
    if (!text.empty() && text.back() != '\n') {
        fail(what, "ends within a line", text.substr(text.size() - std::min<std::size_t>(text.size(), 80)));
    }
}

void expectPrintable(const std::string& what, const Said& said) {
    expectPrintable(what, said.out);
    expectPrintable(what, said.err);
}

void fail(const std::string& what, const std::string& why, const std::string& text) {
    std::fprintf(stderr, "FUZZ: %s: %s\n%.400s\n", what.c_str(), why.c_str(), text.c_str());
    std::abort();
}

} // namespace Fuzz
