#include "tsport/doctor/binary.h"

#include <algorithm>

namespace tsport::doctor {
namespace {

// Numbers and texts at places of a file. What lies beyond its end is 0, or no text.
struct Bytes {
    const std::string& bytes;

    // Little-endian, of `size` bytes, 4 at most.
    std::uint32_t number(std::uint64_t at, size_t size) const {
        std::uint32_t value = 0;
        if (at >= bytes.size() || bytes.size() - at < size) return 0;
        for (size_t i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
        return value;
    }
    // Up to the next zero.
    std::string text(std::uint64_t at) const {
        return at < bytes.size() ? bytes.substr(at, bytes.find('\0', at) - at) : "";
    }
};

// -- The library -----------------------------------------------------------------------------------------------------

struct Section {
    std::uint32_t address;
    std::uint32_t size;
    std::uint32_t offset;
};

constexpr size_t most_sections = 96;  // Windows loads no more
constexpr size_t most_imports = 256;

// Where an address of the loaded library lies in the file; 0 for none.
std::uint64_t offset_of(std::uint32_t address, const std::vector<Section>& sections) {
    for (const Section& section : sections) {
        if (address >= section.address && address - section.address < section.size) {
            return std::uint64_t{section.offset} + (address - section.address);
        }
    }
    return 0;
}

std::string version_in(const std::string& bytes) {
    const std::string signature = {'\xBD', '\x04', '\xEF', '\xFE'};  // of the fixed part of a version resource
    const size_t at = bytes.find(signature);
    if (at == std::string::npos) return "";
    const Bytes file{bytes};
    return std::to_string(file.number(at + 10, 2)) + "." + std::to_string(file.number(at + 8, 2)) + "." +
           std::to_string(file.number(at + 14, 2));
}

// -- The symbols -----------------------------------------------------------------------------------------------------

// The file is divided into blocks; a stream is a list of them.
class Container {
  public:
    explicit Container(const std::string& pdb) : pdb_(pdb), file_{pdb}, block_size_(file_.number(32, 4)) {
        const bool known = pdb.rfind("Microsoft C/C++ MSF 7.00\r\n", 0) == 0;
        if (!known || block_size_ < 512 || block_size_ > 65536) return;
        const std::uint32_t size = file_.number(44, 4);
        const std::uint64_t map = std::uint64_t{file_.number(52, 4)} * block_size_;
        directory_ = gather(size, [&](size_t i) { return file_.number(map + i * 4, 4); });
    }

    // "" when there is no such stream.
    std::string stream(std::uint32_t index) const {
        const Bytes directory{directory_};
        const std::uint32_t count = directory.number(0, 4);
        if (index >= count || count > directory_.size() / 4) return "";
        std::uint64_t first = 4 + std::uint64_t{count} * 4;
        for (std::uint32_t i = 0; i < index; ++i) first += std::uint64_t{blocks(size_of(directory, i))} * 4;
        return gather(size_of(directory, index), [&](size_t i) { return directory.number(first + i * 4, 4); });
    }

  private:
    static std::uint32_t size_of(const Bytes& directory, std::uint32_t index) {
        const std::uint32_t size = directory.number(4 + std::uint64_t{index} * 4, 4);
        return size == 0xFFFFFFFF ? 0 : size;  // a deleted stream
    }
    std::uint32_t blocks(std::uint32_t size) const {
        return static_cast<std::uint32_t>((std::uint64_t{size} + block_size_ - 1) / block_size_);
    }
    template <typename BlockOf>
    std::string gather(std::uint32_t size, BlockOf block_of) const {
        std::string bytes;
        if (size > pdb_.size()) return bytes;
        for (size_t i = 0; bytes.size() < size; ++i) {
            const std::uint64_t at = std::uint64_t{block_of(i)} * block_size_;
            if (at == 0 || at >= pdb_.size()) return "";
            bytes.append(pdb_, at, std::min<size_t>(block_size_, size - bytes.size()));
        }
        return bytes;
    }

    const std::string& pdb_;
    const Bytes file_;
    std::uint32_t block_size_;
    std::string directory_;
};

struct Place {
    std::uint32_t section = 0;  // counts from 1; 0: nowhere
    std::uint32_t offset = 0;
};

Place place_of(const Bytes& headers, std::uint32_t address) {
    for (std::uint32_t i = 0; i < headers.bytes.size() / 40; ++i) {
        const std::uint32_t start = headers.number(i * 40 + 12, 4);
        if (address >= start && address - start < headers.number(i * 40 + 8, 4)) return {i + 1, address - start};
    }
    return {};
}

// The symbols of a source file: each begins with its size and its kind.
std::string function_in(const Bytes& symbols, std::uint32_t end, Place place) {
    for (std::uint64_t at = 4; at + 4 <= end;) {
        const std::uint32_t size = symbols.number(at, 2);
        const std::uint32_t kind = symbols.number(at + 2, 2);
        const bool is_function = kind == 0x110F || kind == 0x1110 || kind == 0x1146 || kind == 0x1147;  // S_?PROC32*
        if (is_function && symbols.number(at + 36, 2) == place.section) {
            const std::uint32_t start = symbols.number(at + 32, 4);
            if (place.offset >= start && place.offset - start < symbols.number(at + 16, 4))
                return symbols.text(at + 39);
        }
        if (size < 2) break;
        at += size + 2;
    }
    return "";
}

}  // namespace

LibraryFile read_library(const std::string& bytes) {
    LibraryFile library;
    const Bytes file{bytes};
    const std::uint64_t header = file.number(0x3C, 4);
    if (bytes.rfind("MZ", 0) != 0 || file.number(header, 4) != 0x4550) return library;
    const std::uint64_t optional = header + 24;
    const bool is_64_bit = file.number(optional, 2) == 0x20B;
    const std::uint64_t table = optional + file.number(header + 20, 2);
    library.machine = static_cast<std::uint16_t>(file.number(header + 4, 2));
    library.is_library = true;
    std::vector<Section> sections;
    for (size_t i = 0; i < std::min<size_t>(file.number(header + 6, 2), most_sections); ++i) {
        const std::uint64_t at = table + i * 40;
        const Section section{file.number(at + 12, 4), file.number(at + 16, 4), file.number(at + 20, 4)};
        if (std::uint64_t{section.offset} + section.size > bytes.size()) library.is_library = false;  // cut off
        sections.push_back(section);
    }
    const std::uint64_t imports = offset_of(file.number(optional + (is_64_bit ? 120 : 104), 4), sections);
    for (size_t i = 0; imports != 0 && i < most_imports; ++i) {
        const std::string name = file.text(offset_of(file.number(imports + i * 20 + 12, 4), sections));
        if (file.number(imports + i * 20 + 12, 4) == 0) break;
        library.imports.push_back(name);
    }
    library.version = version_in(bytes);
    return library;
}

std::string function_at(const std::string& pdb, std::uint32_t address) {
    const Container container(pdb);
    const std::string information = container.stream(3);
    const Bytes header{information};
    const std::uint64_t modules = 64;
    const std::uint64_t modules_end = std::min<std::uint64_t>(modules + header.number(24, 4), information.size());
    std::uint64_t streams = modules;  // the list of further streams is behind all other parts
    for (const unsigned part : {24u, 28u, 32u, 36u, 40u, 52u}) streams += header.number(part, 4);
    const std::string headers = container.stream(header.number(streams + 10, 2));
    const Place place = place_of(Bytes{headers}, address);
    for (std::uint64_t at = modules; place.section != 0 && at + 64 < modules_end;) {
        const std::uint32_t index = header.number(at + 34, 2);
        const std::string symbols = index != 0xFFFF ? container.stream(index) : "";
        const std::string name = function_in(Bytes{symbols}, header.number(at + 36, 4), place);
        if (!name.empty()) return name;
        at += 64;
        at += header.text(at).size() + 1;  // the names of the object file and of its library
        at += header.text(at).size() + 1;
        at = (at + 3) / 4 * 4;
    }
    return "";
}

}  // namespace tsport::doctor
