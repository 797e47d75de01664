#include "tsport/report/line_reader.h"

#include <limits>

namespace tsport::report {

bool LineReader::next() {
    const bool first = bytes_ == 0;
    stream_.getline(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
    const auto size = static_cast<size_t>(stream_.gcount());
    bytes_ += size;
    if (size == 0 || stream_.bad()) return false;
    complete_ = !stream_.fail();
    // Without a line feed: one that is being written at this moment, or was cut by the end of the spooler.
    const bool ended = complete_ && !stream_.eof();
    line_ = {buffer_.data(), ended ? size - 1 : size};
    if (!complete_) {
        stream_.clear();
        stream_.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        bytes_ += static_cast<std::uint64_t>(stream_.gcount());
    }
    if (first) {
        is_utf16_ = line_.starts_with("\xFF\xFE");
        // Editors leave a mark in front of UTF-8.
        if (line_.starts_with("\xEF\xBB\xBF")) line_.remove_prefix(3);
    }
    return true;
}

}  // namespace tsport::report
