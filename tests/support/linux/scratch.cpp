#include "tests/support/scratch.h"

#include <stdlib.h>

#include <filesystem>

#include "winapi/linux/control.h"
#include "winapi/linux/handle.h"

namespace {

// The folder that is "C:" in this process.
struct Root {
    std::string path = (std::filesystem::temp_directory_path() / "tsm-test-XXXXXX").string();

    Root() {
        if (::mkdtemp(path.data()) == nullptr) ::abort();
        winapi::map_drive(u'C', path);
    }
    ~Root() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

}  // namespace

ScratchDir::ScratchDir() {
    static Root root;
    static int count = 0;
    path_ = u"C:\\scratch" + winapi::to_utf16(std::to_string(++count));
    std::filesystem::create_directory(winapi::native_path(path_.c_str()));
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(winapi::native_path(path_.c_str()), ignored);
}

std::string ScratchDir::narrow(const std::string& name) const {
    return winapi::to_utf8(path_.c_str()) + "\\" + name;
}
