// Runs one target over its part of the corpus, one test case per file. A target that finds something aborts the
// process.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;

class Replay : public testing::Test {
  public:
    explicit Replay(fs::path file) : file_(std::move(file)) {}
    void TestBody() override {
        std::ifstream stream(file_, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        // Of its exact size, so that a read beyond it is seen.
        EXPECT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), 0);
    }

  private:
    fs::path file_;
};

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(FUZZ_CORPUS)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        testing::RegisterTest("Corpus", file.filename().c_str(), nullptr, nullptr, __FILE__, __LINE__,
                              [file]() -> testing::Test* { return new Replay(file); });
    }
    const int result = RUN_ALL_TESTS();
    const testing::UnitTest& all = *testing::UnitTest::GetInstance();
    printf("%d passed, %d failed\n", all.successful_test_count(), all.failed_test_count());
    return result != 0 || files.empty() ? 1 : 0;
}
