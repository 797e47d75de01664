#include "tsport/watch/follower.h"

#include <filesystem>

#include "host/text.h"
#include "tsport/file.h"

namespace tsport::watch {
namespace {

constexpr size_t longest_line = 1 << 20;
constexpr size_t piece = 256 << 10;
constexpr size_t beginning_size = 200;  // bytes; with the time to the millisecond among them

}  // namespace

bool Follower::is_beginning_of(const std::string& path) const {
    std::string bytes;
    std::string why;
    return read_part(path, 0, beginning_.size(), bytes, why) && bytes == beginning_;
}

bool Follower::read(const std::string& path, const std::function<void(std::string_view)>& line, std::string& why) {
    std::string bytes;
    do {
        if (!read_part(path, offset_, piece, bytes, why)) return false;
        offset_ += bytes.size();
        rest_ += bytes;
        size_t begin = 0;
        for (size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n', begin)) {
            line(std::string_view(rest_).substr(begin, end - begin));
            begin = end + 1;
        }
        rest_.erase(0, begin);
        if (rest_.size() > longest_line) rest_.clear();
    } while (bytes.size() == piece);
    if (beginning_.size() < beginning_size) read_part(path, 0, beginning_size, beginning_, why);
    return true;
}

bool Follower::look(const std::function<void(std::string_view)>& line, std::string& why) {
    if (!is_there(path_)) return true;
    if (first_) {
        std::error_code error;
        const std::uint64_t size = std::filesystem::file_size(host::path_of(path_), error);
        first_ = false;
        if (!error && size > from_end) {
            // Not from the middle of a line.
            offset_ = size - from_end;
            std::string bytes;
            if (!read_part(path_, offset_, longest_line, bytes, why)) return false;
            offset_ += std::min(bytes.find('\n'), bytes.size() - 1) + 1;
        }
    } else if (!beginning_.empty() && !is_beginning_of(path_)) {
        // A rotation gives it another name first; the numbers count up with each one.
        if (is_beginning_of(path_ + ".tmp") && !read(path_ + ".tmp", line, why)) return false;
        for (int number = 1; is_there(path_ + "." + std::to_string(number)); ++number) {
            const std::string rotated = path_ + "." + std::to_string(number);
            if (!is_beginning_of(rotated)) continue;
            if (!read(rotated, line, why)) return false;
            for (int later = number - 1; later > 0; --later) {
                offset_ = 0;
                if (!read(path_ + "." + std::to_string(later), line, why)) return false;
            }
            break;
        }
        offset_ = 0;
        rest_.clear();
        beginning_.clear();
    }
    return read(path_, line, why);
}

}  // namespace tsport::watch
