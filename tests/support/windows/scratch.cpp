#include "tests/support/scratch.h"

#include <filesystem>

namespace {

namespace fs = std::filesystem;

// A short path, as tests at the path limit count on one. One a process, so that test programs can run at once.
fs::path root_folder() {
    return L"C:\\tsm-test-" + std::to_wstring(GetCurrentProcessId());
}

}  // namespace

ScratchDir::ScratchDir() {
    static int count = 0;
    const fs::path folder = root_folder() / (L"scratch" + std::to_wstring(++count));
    fs::create_directories(folder);
    path_ = folder.wstring();
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
    fs::remove(root_folder(), ignored);
}

std::string ScratchDir::narrow(const std::string& name) const {
    const std::u8string utf8 = fs::path(path_).u8string();
    return std::string(utf8.begin(), utf8.end()) + "\\" + name;
}
