#include "fuzz/support.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "winapi/linux/control.h"

namespace fuzz {

// -- Input -----------------------------------------------------------------------------------------------------------

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

// -- Files -----------------------------------------------------------------------------------------------------------

namespace {

struct Folder {
    std::string path = std::filesystem::temp_directory_path() / "tsm-fuzz-XXXXXX";

    Folder() {
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

// -- What must hold --------------------------------------------------------------------------------------------------

NothingLeftOver::~NothingLeftOver() {
    const std::string more = test::grown(before, test::take_stock());
    if (!more.empty()) fail(more.c_str(), __FILE_NAME__, __LINE__);
}

void fail(const char* condition, const char* file, int line) {
    fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    abort();
}

}  // namespace fuzz
