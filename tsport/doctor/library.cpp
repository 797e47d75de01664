#include "tsport/doctor/library.h"

#include <algorithm>

#include "tsport/doctor/bytes.h"

namespace tsport::doctor {
namespace {

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
    const Bytes file(bytes);
    return std::to_string(file.number(at + 10, 2)) + "." + std::to_string(file.number(at + 8, 2)) + "." +
           std::to_string(file.number(at + 14, 2));
}

}  // namespace

LibraryFile read_library(const std::string& bytes) {
    LibraryFile library;
    const Bytes file(bytes);
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

}  // namespace tsport::doctor
