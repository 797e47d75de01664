// The source of a document's bytes: read piece by piece, and again from the beginning when the job
// restarts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace host {

struct Source {
    std::uint64_t size = 0;
    std::function<bool()> rewind;
    // Fewer bytes than asked for only at the end.
    std::function<size_t(char* buffer, size_t size)> read;
};

// False when the file cannot be opened.
bool file_source(const std::string& path, Source& source);
Source memory_source(std::string data);
// The same bytes for the same seed; they do not compress and do not repeat.
Source generated_source(std::uint64_t size, std::uint64_t seed);

}  // namespace host
