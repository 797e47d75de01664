#include "tools/tsport/ports_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tools/tsport/output.h"

namespace tsport {
namespace {

namespace fs = std::filesystem;

// -- Writing ---------------------------------------------------------------------------------------------------------

bool is_plain(WCHAR c) {
    return (c >= W('0') && c <= W('9')) || (c >= W('a') && c <= W('z')) || (c >= W('A') && c <= W('Z')) ||
           c == W('.') || c == W(':') || c == W('-') || c == W('_');
}

std::string written(const Text& address) {
    const bool plain = !address.empty() && std::all_of(address.begin(), address.end(), is_plain);
    return plain ? host::to_utf8(address) : quoted(address);
}

std::string text_of(const std::vector<Port>& ports) {
    Rows rows = {{"# name", "address", "port"}};
    for (const Port& port : ports) {
        rows.push_back({quoted(port.name), written(port.address), std::to_string(port.number)});
    }
    return in_columns(rows);
}

// -- Reading ---------------------------------------------------------------------------------------------------------

bool is_blank(WCHAR c) {
    return c == W(' ') || c == W('\t');
}

// The texts of one line.
class Line {
  public:
    explicit Line(const Text& text) : text_(text) {}

    bool at_end() {
        while (at_ < text_.size() && is_blank(text_[at_])) ++at_;
        return at_ == text_.size() || text_[at_] == W('#');
    }
    // The next text; false with the reason when it is not well-formed.
    bool take(Text& value, std::string& why) {
        value.clear();
        if (text_[at_] == W('"')) return take_quoted(value, why);
        for (; at_ < text_.size() && !is_blank(text_[at_]); ++at_) value += text_[at_];
        why = "a quote inside a text that does not begin with one";
        return value.find(W('"')) == Text::npos;
    }

  private:
    bool take_quoted(Text& value, std::string& why) {
        for (++at_; at_ < text_.size(); ++at_) {
            if (text_[at_] == W('"')) {
                why = "no blank after a closing quote";
                return ++at_ == text_.size() || is_blank(text_[at_]);
            }
            if (text_[at_] != W('\\')) {
                value += text_[at_];
            } else if (!take_escape(value)) {
                why = "an escape other than \\\" \\\\ \\t \\n \\r \\uXXXX";
                return false;
            }
        }
        why = "the closing quote is missing";
        return false;
    }
    // From the backslash to the last character that belongs to it.
    bool take_escape(Text& value) {
        const Text names = W("\"\\tnr");
        const Text meanings = W("\"\\\t\n\r");
        if (++at_ == text_.size()) return false;
        const size_t index = names.find(text_[at_]);
        if (index != Text::npos) {
            value += meanings[index];
            return true;
        }
        return text_[at_] == W('u') && take_code(value);
    }
    bool take_code(Text& value) {
        const Text digits = W("0123456789abcdef0123456789ABCDEF");
        unsigned code = 0;
        for (int i = 0; i < 4; ++i) {
            const size_t digit = ++at_ < text_.size() ? digits.find(text_[at_]) : Text::npos;
            if (digit == Text::npos) return false;
            code = code * 16 + static_cast<unsigned>(digit % 16);
        }
        value += static_cast<WCHAR>(code);
        return code != 0;
    }

    const Text& text_;
    size_t at_ = 0;
};

// What is wrong with the line; empty when nothing is. `found` tells whether it holds a port.
std::string parse_line(const std::string& utf8, Port& port, bool& found) {
    const Text text = host::to_text(utf8);
    if (host::to_utf8(text) != utf8) return "not UTF-8 text";
    Line line(text);
    found = !line.at_end();
    if (!found) return std::string();
    std::string why;
    if (!line.take(port.name, why)) return why;
    if (line.at_end()) return "the printer's address is missing";
    if (!line.take(port.address, why)) return why;
    if (line.at_end()) return "the port number is missing";
    Text number;
    if (!line.take(number, why)) return why;
    if (!line.at_end()) return "more than name, address and port number";
    if (!(why = name_fault(port.name)).empty()) return why;
    if (!(why = address_fault(port.address)).empty()) return why;
    std::uint64_t value = 0;
    if (!host::parse_number(host::to_utf8(number), 1, largest_number, value)) {
        return "the port number is not 1 to 65535: " + shown(number);
    }
    port.number = static_cast<DWORD>(value);
    return std::string();
}

void parse_ports(std::istream& in, const std::string& path, std::vector<Port>& ports, std::string& why) {
    size_t count = 0;
    for (std::string line; std::getline(in, line);) {
        if (++count == 1 && line.rfind("\xEF\xBB\xBF", 0) == 0) line.erase(0, 3);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        Port port;
        bool found = false;
        std::string fault = parse_line(line, port, found);
        if (fault.empty() && found && find_port(ports, port.name) != nullptr) {
            fault = "the port \"" + shown(port.name) + "\" is there already";
        }
        if (!fault.empty()) {
            why += (why.empty() ? "" : "\n") + path + ":" + std::to_string(count) + ": " + fault;
        } else if (found) {
            ports.push_back(port);
        }
    }
}

}  // namespace

bool read_ports_file(const std::string& path, std::vector<Port>& ports, std::string& why) {
    std::error_code error;
    std::ifstream in(host::path_of(path), std::ios::binary);
    if (!in || fs::is_directory(host::path_of(path), error)) {
        why = path + " cannot be read";
        return false;
    }
    why.clear();
    std::vector<Port> read;
    parse_ports(in, path, read, why);
    if (in.bad()) why = path + " cannot be read to its end";
    if (!why.empty()) return false;
    ports = std::move(read);
    return true;
}

bool write_ports_file(const std::string& path, const std::vector<Port>& ports, std::string& why) {
    const std::string unfinished = path + ".new";
    std::ofstream out(host::path_of(unfinished), std::ios::binary | std::ios::trunc);
    out << text_of(ports);
    out.close();
    std::error_code error;
    if (out) {
        fs::rename(host::path_of(unfinished), host::path_of(path), error);
        if (!error) return true;
    }
    why = path + " cannot be written";
    fs::remove(host::path_of(unfinished), error);
    return false;
}

}  // namespace tsport
