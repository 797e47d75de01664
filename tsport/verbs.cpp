// The table of verbs.
#include <algorithm>

#include "tsport/answer.h"
#include "tsport/doctor/doctor.h"
#include "tsport/help.h"

namespace tsport {
namespace {

using command_line::flag;
using command_line::number;
using command_line::Options;
using command_line::Words;

const char wrong_operands[] = "operands";

// -- Operands --------------------------------------------------------------------------------------------------------
// Each returns what is wrong, or nothing.

std::string take_text(const std::string& word, Text& text) {
    text = host::to_text(word);
    return host::to_utf8(text) == word ? std::string() : "not UTF-8 text: " + word;
}

std::string take_name(const std::string& word, Text& name) {
    const std::string why = take_text(word, name);
    return why.empty() ? name_fault(name) : why;
}

std::string take_names(const Words& words, size_t first, Command& command) {
    std::string why;
    for (size_t i = first; i < words.size() && why.empty(); ++i) {
        command.names.emplace_back();
        why = take_name(words[i], command.names.back());
    }
    return why;
}

std::string take_printer(const std::string& host, const std::string* port, Command& command) {
    std::string why = take_text(host, command.port.address);
    if (why.empty()) why = new_address_fault(command.port.address);
    if (!why.empty() || port == nullptr) return why;
    command.number_given = true;
    return parse_port_number(host::to_text(*port), command.port.number);
}

std::string no_operands(const Words& words, Command&) {
    return words.empty() ? "" : wrong_operands;
}

std::string one_name(const Words& words, Command& command) {
    return words.size() == 1 ? take_name(words[0], command.port.name) : wrong_operands;
}

std::string any_names(const Words& words, Command& command) {
    return take_names(words, 0, command);
}

std::string some_names(const Words& words, Command& command) {
    return words.empty() ? wrong_operands : take_names(words, 0, command);
}

std::string port_and_printer(const Words& words, Command& command) {
    if (words.size() < 2 || words.size() > 3) return wrong_operands;
    const std::string why = take_name(words[0], command.port.name);
    return why.empty() ? take_printer(words[1], words.size() == 3 ? &words[2] : nullptr, command) : why;
}

std::string new_port(const Words& words, Command& command) {
    const std::string why = port_and_printer(words, command);
    return why.empty() ? new_name_fault(command.port.name) : why;
}

// Names of ports, or a host and a number.
std::string names_or_printer(const Words& words, Command& command) {
    if (command.all) return no_operands(words, command);
    const bool is_number = words.size() == 2 && words[1].find_first_not_of("-0123456789") == std::string::npos;
    if (is_number) return take_printer(words[0], &words[1], command);
    return some_names(words, command);
}

std::string one_file(const Words& words, Command& command) {
    if (words.size() != 1) return wrong_operands;
    command.file = words[0];
    return words[0].empty() ? "the file's name is empty" : "";
}

std::string file_and_names(const Words& words, Command& command) {
    if (words.empty()) return wrong_operands;
    command.file = words[0];
    return words[0].empty() ? "the file's name is empty" : take_names(words, 1, command);
}

std::string some_logs(const Words& words, Command& command) {
    command.report.logs = words;
    return words.empty() ? wrong_operands : "";
}

std::string one_shell(const Words& words, Command& command) {
    if (words.size() != 1) return wrong_operands;
    command.topic = words[0];
    return words[0] == "bash" || words[0] == "powershell" ? "" : "there is completion for bash and for powershell";
}

// -- Options ---------------------------------------------------------------------------------------------------------

Options no_options(Command&) {
    return {};
}

Options list_options(Command& command) {
    return {flag("--names", command.names_only), flag("--csv", command.csv)};
}

Options delete_options(Command& command) {
    return {flag("--force", command.force), flag("--dry-run", command.dry_run)};
}

Options test_options(Command& command) {
    return {flag("--all", command.all), number("--timeout", 1, 600, command.timeout_seconds)};
}

Options export_options(Command& command) {
    return {flag("--csv", command.csv), flag("--force", command.force)};
}

Options import_options(Command& command) {
    return {flag("--csv", command.csv), flag("--dry-run", command.dry_run)};
}

Options diff_options(Command& command) {
    return {flag("--csv", command.csv)};
}

// -- The table -------------------------------------------------------------------------------------------------------

// clang-format off
const std::vector<Verb> table = {
    {"list", "[NAME...]", "all ports, or these",
     list_help, Needs::reading, any_names, list_options, list},
    {"show", "NAME", "one port",
     show_help, Needs::reading, one_name, no_options, show},
    {"add", "NAME HOST [PORT]", "a new port; PORT is 9100 if omitted",
     add_help, Needs::changing, new_port, no_options, add},
    {"set", "NAME HOST [PORT]", "another printer for a port; PORT is kept if omitted",
     set_help, Needs::changing, port_and_printer, no_options, set},
    {"delete", "NAME...", "removes ports",
     delete_help, Needs::changing, some_names, delete_options, remove},
    {"test", "NAME... | HOST PORT | --all", "whether printers accept connections",
     test_help, Needs::reading, names_or_printer, test_options, test},
    {"exists", "NAME", "whether the spooler has a port of that name, of whatever kind",
     exists_help, Needs::reading, one_name, no_options, exists},
    {"export", "FILE [NAME...]", "writes ports into a file",
     export_help, Needs::reading, file_and_names, export_options, export_ports},
    {"import", "FILE", "adds and changes ports as the file says",
     import_help, Needs::changing, one_file, import_options, import_ports},
    {"diff", "FILE", "how the ports differ from the file",
     diff_help, Needs::reading, one_file, diff_options, diff_ports},
    {"doctor", "", "why documents are not printed: checks everything that printing depends on",
     doctor_help, Needs::nothing, no_operands, doctor::options, doctor::examine},
    {"report", "LOG...", "what became of the documents, from the monitor's logs",
     report_help, Needs::nothing, some_logs, report_options, report_logs},
    {"completion", "bash | powershell", "a script that completes command lines",
     completion_help, Needs::nothing, one_shell, no_options, completion},
};
// clang-format on

}  // namespace

const std::vector<Verb>& verbs() {
    return table;
}

const Verb* find_verb(const std::string& name) {
    const auto found =
        std::find_if(verbs().begin(), verbs().end(), [&](const Verb& verb) { return verb.name == name; });
    return found != verbs().end() ? &*found : nullptr;
}

Words verb_names() {
    Words names = {"help"};
    for (const Verb& verb : verbs()) names.emplace_back(verb.name);
    return names;
}

}  // namespace tsport
