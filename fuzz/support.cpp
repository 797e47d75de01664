#include "fuzz/support.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "winapi/linux/control.h"
#include "winapi/spooler_sim/spooler_sim.h"

namespace fuzz {

// -- Input -----------------------------------------------------------------------------------------------------------

uint8_t Input::byte() {
    const std::string_view one = bytes(1);
    return one.empty() ? uint8_t{0} : static_cast<uint8_t>(one[0]);
}

std::string_view Input::bytes(size_t count) {
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(taken.size());
    return taken;
}

std::string_view Input::until(char separator) {
    const std::string_view taken = bytes(std::min(rest_.find(separator), rest_.size()));
    bytes(1);
    return taken;
}

Text Input::wide(size_t units) {
    const std::string_view taken = bytes(units * sizeof(WCHAR));
    Text text(taken.size() / sizeof(WCHAR), 0);
    memcpy(text.data(), taken.data(), text.size() * sizeof(WCHAR));
    return text.substr(0, text.find(WCHAR{0}));
}

ExactBuffer::ExactBuffer(size_t size) : bytes_(static_cast<uint8_t*>(calloc(1, size))) {}
ExactBuffer::ExactBuffer(const void* data, size_t size) : ExactBuffer(size) {
    if (size > 0) memcpy(bytes_, data, size);
}
ExactBuffer::~ExactBuffer() {
    free(bytes_);
}

// -- Files -----------------------------------------------------------------------------------------------------------

namespace {

struct Folder {
    std::string path;

    Folder() {
        const char* parent = getenv("FUZZ_SCRATCH");
        if (parent == nullptr) parent = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        path = std::string(parent) + "/tsm-fuzz-XXXXXX";
        if (mkdtemp(path.data()) == nullptr) fail("a scratch folder", path.c_str(), 0);
        winapi::map_drive(W('C'), path);
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

}  // namespace

const std::string& scratch() {
    static const Folder folder;
    return folder.path;
}

void write_file(const std::string& native_path, std::string_view contents) {
    std::ofstream file(native_path, std::ios::binary);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    REQUIRE(file.flush());
}

std::string read_file(const std::string& native_path) {
    std::ifstream file(native_path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// -- What must hold --------------------------------------------------------------------------------------------------

bool is_utf8(std::string_view text) {
    for (size_t at = 0; at < text.size();) {
        const auto lead = static_cast<uint8_t>(text[at]);
        const size_t length = lead < 0x80   ? 1
                              : lead < 0xC2 ? 0
                              : lead < 0xE0 ? 2
                              : lead < 0xF0 ? 3
                              : lead < 0xF5 ? 4
                                            : 0;
        if (length == 0 || length > text.size() - at) return false;
        uint32_t code = lead & (0xFFu >> (length + 1));
        for (size_t i = 1; i < length; ++i) {
            const auto byte = static_cast<uint8_t>(text[at + i]);
            if ((byte & 0xC0) != 0x80) return false;
            code = code << 6 | (byte & 0x3F);
        }
        if ((length == 3 && code < 0x800) || (length == 4 && code < 0x10000) || code > 0x10FFFF) return false;
        if (code >= 0xD800 && code <= 0xDFFF) return false;
        at += length;
    }
    return true;
}

NothingLeftOver::NothingLeftOver()
    : handles_(winapi::open_handles()), allocations_(winapi::open_allocations()), misuses_(winapi::misuses()) {}

NothingLeftOver::~NothingLeftOver() {
    REQUIRE(winapi::open_handles() == handles_);
    REQUIRE(winapi::open_allocations() == allocations_);
    REQUIRE(winapi::misuses() == misuses_);
    REQUIRE(spooler_sim::open_printers() == 0);
    REQUIRE(spooler_sim::open_tokens() == 0);
}

void fail(const char* condition, const char* file, int line) {
    fprintf(stderr, "%s:%d: does not hold: %s\n%s", file, line, condition, winapi::describe_open_handles().c_str());
    abort();
}

}  // namespace fuzz
