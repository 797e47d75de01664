#include "testbed/print_server.h"

#include <filesystem>

#include "host/platform.h"

namespace testbed {

PrintServer::PrintServer() : PrintServer(host::make_temporary_folder()) {
    is_temporary_ = true;
}

PrintServer::PrintServer(const std::string& install) : folder(host::base_folder(install)) {
    spooler_sim::reset();
    host::clear_registry();
    load_options.library = host::executable_folder() + "/" + host::monitor_file_name();
}

PrintServer::~PrintServer() {
    monitor.unload();
    std::error_code ignored;
    if (is_temporary_) std::filesystem::remove_all(host::path_of(folder.install), ignored);
}

bool PrintServer::set_up(const std::vector<std::string>& settings, std::string& why) {
    return set_up_base(folder.install, settings, folder, why);
}

bool PrintServer::load_into(MonitorHost& host, std::string& why) const {
    MonitorHost::Options options = load_options;
    options.folder = folder;
    return host.load(options, why);
}

test_printer::TcpPrinter& PrintServer::add_printer(const Text& name) {
    test_printer::TcpPrinter& printer = printers_.emplace_back();
    spooler_sim::add_printer(name);
    host::store_port(name, W("127.0.0.1"), printer.port());
    return printer;
}

Document PrintServer::document(const Text& printer, Source source, DWORD write_size) {
    Document made;
    made.port = printer;
    made.printer = printer;
    made.source = std::move(source);
    made.write_size = write_size;
    made.retry_pause_ms = 1;
    return made;
}

}  // namespace testbed
