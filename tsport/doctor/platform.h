// Queries that only a print server can answer; implemented once per platform.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tsport::doctor {

// Why this machine cannot be checked as a print server; null when it can.
const char* why_no_server();

// "C:\Windows\System32".
std::string system_directory();

enum class Service { running, stopped, disabled, missing, unknown };
Service spooler_service();

// The newest events of a log ("Application") that the query, in XPath, chooses: one after the other in XML, the newest
// first. False with the reason.
bool export_events(const char* log, const char* query, std::string& xml, std::string& why);

// The access list of a file or directory: the entries that apply to the object itself, in order.
struct AccessEntry {
    bool allows = false;
    std::uint32_t mask = 0;  // generic rights are spelled out
    std::string sid;         // "S-1-5-18"
};
struct AccessList {
    bool everybody = false;  // there is no list: everything is allowed
    std::vector<AccessEntry> entries;
};
// False with the reason when it cannot be read.
bool read_access(const std::string& path, AccessList& access, std::string& why);

}  // namespace tsport::doctor
