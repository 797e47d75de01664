// Runs one target over its part of the corpus: corpus_conf over CORPUS_FOLDER/conf. A target that finds something
// aborts the process.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int, char** arguments) {
    const std::string program = std::filesystem::path(arguments[0]).stem().string();
    const std::string target = program.substr(std::string_view("corpus_").size());
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CORPUS_FOLDER "/" + target)) {
        std::printf("%s\n", entry.path().filename().c_str());
        std::fflush(stdout);
        std::ifstream stream(entry.path(), std::ios::binary);
        // Of its exact size, so that a read beyond it is seen.
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ++count;
    }
    return count == 0 ? 1 : 0;
}
