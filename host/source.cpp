#include "host/source.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "host/text.h"

namespace host {
namespace {

std::uint64_t scrambled(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15ULL;
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9ULL;
    value = (value ^ value >> 27) * 0x94D049BB133111EBULL;
    return value ^ value >> 31;
}

// The bytes of a generated document from `offset` on.
void generate(std::uint64_t seed, std::uint64_t offset, char* buffer, size_t size) {
    while (size != 0) {
        const std::uint64_t word = scrambled(seed ^ offset / 8 << 8);
        const size_t skip = static_cast<size_t>(offset % 8);
        const size_t part = std::min(size, sizeof word - skip);
        std::memcpy(buffer, reinterpret_cast<const char*>(&word) + skip, part);
        buffer += part;
        offset += part;
        size -= part;
    }
}

}  // namespace

bool file_source(const std::string& path, Source& source) {
    std::error_code error;
    const std::filesystem::path native = path_of(path);
    if (!std::filesystem::is_regular_file(native, error)) return false;
    const auto file = std::make_shared<std::ifstream>(native, std::ios::binary);
    source.size = std::filesystem::file_size(native, error);
    source.rewind = [file] {
        file->clear();
        return static_cast<bool>(file->seekg(0));
    };
    source.read = [file](char* buffer, size_t size) {
        file->read(buffer, static_cast<std::streamsize>(size));
        return static_cast<size_t>(file->gcount());
    };
    return file->is_open() && !error;
}

Source memory_source(std::string data) {
    const auto held = std::make_shared<const std::string>(std::move(data));
    const auto offset = std::make_shared<size_t>(0);
    Source source;
    source.size = held->size();
    source.rewind = [offset] {
        *offset = 0;
        return true;
    };
    source.read = [held, offset](char* buffer, size_t size) {
        const size_t part = std::min(size, held->size() - *offset);
        std::memcpy(buffer, held->data() + *offset, part);
        *offset += part;
        return part;
    };
    return source;
}

Source generated_source(std::uint64_t size, std::uint64_t seed) {
    const auto offset = std::make_shared<std::uint64_t>(0);
    Source source;
    source.size = size;
    source.rewind = [offset] {
        *offset = 0;
        return true;
    };
    source.read = [offset, size, seed](char* buffer, size_t asked) {
        const auto part = static_cast<size_t>(std::min<std::uint64_t>(asked, size - *offset));
        generate(seed, *offset, buffer, part);
        *offset += part;
        return part;
    };
    return source;
}

}  // namespace host
