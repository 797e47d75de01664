#include "tsport/doctor/crashes.h"

#include <rapidxml/rapidxml.hpp>

#include "host/text.h"
#include "tsport/ports/encoding.h"

namespace tsport::doctor {
namespace {

using Node = rapidxml::xml_node<>;

constexpr size_t most_of_event = 256 << 10;  // Windows stores no event above 64 KiB
constexpr size_t most_events = 100'000;

// The parser calls itself for each element within another.
bool is_nested_deeply(const std::string& xml) {
    size_t depth = 0;
    for (size_t at = xml.find('<'); at != std::string::npos; at = xml.find('<', at + 1)) {
        if (xml.compare(at, 2, "</") != 0) {
            if (++depth > 64) return true;
        } else if (depth > 0) {
            --depth;
        }
        const size_t end = xml.find_first_of("<>", at + 1);
        if (end != std::string::npos && xml[end] == '>' && xml[end - 1] == '/' && depth > 0) --depth;
    }
    return false;
}

std::string attribute_of(const Node& element, const char* name) {
    const auto* const attribute = element.first_attribute(name);
    return attribute != nullptr ? std::string(attribute->value(), attribute->value_size()) : "";
}

// Each text below the element that is not white space alone is a field; an empty element is an empty one.
void add_fields(const Node& element, std::vector<std::string>& fields) {
    for (const Node* child = element.first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() != rapidxml::node_element) continue;
        const Node* const below = child->first_node();
        if (below != nullptr && below->type() == rapidxml::node_element) {
            add_fields(*child, fields);
        } else {
            fields.emplace_back(child->value(), child->value_size());
        }
    }
}

bool parse_event(std::string xml, Event& event) {
    if (is_nested_deeply(xml)) return false;
    rapidxml::xml_document<> document;
    try {
        document.parse<rapidxml::parse_validate_closing_tags>(xml.data());
    } catch (const rapidxml::parse_error&) {
        return false;
    }
    const Node* const root = document.first_node("Event");
    const Node* const system = root != nullptr ? root->first_node("System") : nullptr;
    if (system == nullptr) return false;
    if (const Node* const provider = system->first_node("Provider")) event.provider = attribute_of(*provider, "Name");
    if (const Node* const time = system->first_node("TimeCreated")) event.time = attribute_of(*time, "SystemTime");
    std::uint64_t id = 0;
    const Node* const number = system->first_node("EventID");
    if (number == nullptr || !host::parse_number(number->value(), 0, 0xFFFF, id)) return false;
    event.id = static_cast<unsigned>(id);
    for (const char* const name : {"EventData", "UserData"}) {
        if (const Node* const data = root->first_node(name)) add_fields(*data, event.data);
    }
    return true;
}

bool begins_event(const std::string& xml, size_t at) {
    return std::string_view(" >\r\n\t").find(xml[at + 6]) != std::string_view::npos;
}

}  // namespace

bool read_events(const std::string& bytes, std::vector<Event>& events, std::string& why) {
    if (bytes.rfind("ElfFile", 0) == 0) {
        why = "it is a log in Windows' own format; export it as XML: wevtutil qe FILE.evtx /lf:true /f:xml > FILE.xml";
        return false;
    }
    Encoding encoding;
    host::Text text;
    Fault fault;
    if (!decode(bytes, encoding, text, fault)) {
        why = "line " + std::to_string(fault.line) + ": " + fault.why;
        return false;
    }
    const std::string xml = host::to_utf8(text);
    const size_t before = events.size();
    for (size_t at = xml.find("<Event"); at != std::string::npos && events.size() < most_events;) {
        const size_t end = xml.find("</Event>", at);
        const size_t next = xml.find("<Event", at + 1);
        Event event;
        if (begins_event(xml, at) && end != std::string::npos && end - at < most_of_event &&
            parse_event(xml.substr(at, end + 8 - at), event)) {
            events.push_back(std::move(event));
        }
        at = next;
    }
    why = "it holds no event in XML; export one like this: wevtutil qe Application /f:xml > application.xml";
    return events.size() > before;
}

}  // namespace tsport::doctor
