#include "tsport/doctor/platform.h"

namespace tsport::doctor {

const char* why_no_server() {
    return "there is no print spooler on this system; check a copied server with --base DIR and --store FILE";
}

std::string system_directory() {
    return std::string();
}

Service spooler_service() {
    return Service::unknown;
}

bool export_events(const char*, const char*, std::string&, std::string& why) {
    why = "event logs can be read on Windows only";
    return false;
}

bool read_access(const std::string&, AccessList&, std::string& why) {
    why = "access lists can be read on Windows only";
    return false;
}

}  // namespace tsport::doctor
