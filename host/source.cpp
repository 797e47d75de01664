#include "host/source.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>

#include "host/text.h"

namespace host {
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
    std::mt19937_64 random(seed);
    std::string data(static_cast<size_t>(size), '\0');
    for (size_t at = 0; at < data.size(); at += sizeof(std::uint64_t)) {
        const std::uint64_t word = random();
        std::memcpy(&data[at], &word, std::min(sizeof word, data.size() - at));
    }
    return memory_source(std::move(data));
}

}  // namespace host
