#include "tools/tsport/arguments.h"

#include <algorithm>

#include "tools/tsport/help.h"

namespace tsport {
namespace {

// A verb with its operands: N a name, H a host, P a TCP port, F a file.
struct Form {
    const char* word;
    Verb verb;
    const char* operands;
    size_t least;
    const char* help;
};
constexpr Form forms[] = {
    {"list", Verb::list, "", 0, list_help},
    {"show", Verb::show, "N", 1, show_help},
    {"add", Verb::add, "NHP", 2, add_help},
    {"set", Verb::set, "NHP", 2, set_help},
    {"delete", Verb::remove, "N", 1, delete_help},
    {"test", Verb::test, "N", 1, test_help},
    {"test", Verb::test, "HP", 2, test_help},
    {"exists", Verb::exists, "N", 1, exists_help},
    {"export", Verb::export_ports, "F", 1, export_help},
    {"import", Verb::import_ports, "F", 1, import_help},
    {"diff", Verb::diff, "F", 1, diff_help},
};

struct Flag {
    const char* name;
    bool Command::*value;
};
constexpr Flag flags[] = {{"--json", &Command::json}, {"--dry-run", &Command::dry_run}};

struct Setting {
    const char* name;
    std::string Command::*value;
};
constexpr Setting settings[] = {{"--library", &Command::library}, {"--store", &Command::store}};

template <typename Row, size_t N>
const Row* find_row(const Row (&rows)[N], const std::string& name) {
    const Row* const found = std::find_if(rows, rows + N, [&](const Row& row) { return row.name == name; });
    return found != rows + N ? found : nullptr;
}

// Takes the options out of the line; what is left are the verb and its operands.
bool take_options(const std::vector<std::string>& arguments, Command& command, std::vector<std::string>& words,
                  bool& help, std::string& why) {
    bool options = true;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (!options || argument.rfind("--", 0) != 0) {
            words.push_back(argument);
        } else if (argument == "--") {
            options = false;
        } else if (argument == "--help") {
            help = true;
        } else if (const Flag* const flag = find_row(flags, argument)) {
            command.*flag->value = true;
        } else if (const Setting* const setting = find_row(settings, argument)) {
            why = argument + " takes a path";
            if (i + 1 == arguments.size() || arguments[i + 1].empty()) return false;
            command.*setting->value = arguments[++i];
        } else {
            why = "unknown option " + argument;
            return false;
        }
    }
    return true;
}

bool take_operand(char kind, const std::string& operand, Command& command, std::string& why) {
    if (kind == 'F') {
        command.file = operand;
        why = "the file's name is empty";
        return !operand.empty();
    }
    if (kind == 'P') {
        std::uint64_t number = 0;
        why = "the port number is not 1 to 65535: " + operand;
        if (!host::parse_number(operand, 1, largest_number, number)) return false;
        command.port.number = static_cast<DWORD>(number);
        command.number_given = true;
        return true;
    }
    const Text text = host::to_text(operand);
    why = "not UTF-8 text: " + operand;
    if (host::to_utf8(text) != operand) return false;
    (kind == 'N' ? command.port.name : command.port.address) = text;
    why = kind == 'N' ? name_fault(text) : address_fault(text);
    return why.empty();
}

// The form of the verb that takes that many operands, or its first one.
const Form* find_form(const std::string& word, size_t operands) {
    const Form* first = nullptr;
    for (const Form& form : forms) {
        if (word != form.word) continue;
        if (operands >= form.least && operands <= std::char_traits<char>::length(form.operands)) return &form;
        if (first == nullptr) first = &form;
    }
    return first;
}

bool take_words(const std::vector<std::string>& words, Command& command, bool help, std::string& why) {
    why = "no verb given";
    if (words.empty()) return false;
    const size_t operands = words.size() - 1;
    const Form* const form = find_form(words[0], operands);
    why = "unknown verb " + words[0];
    if (form == nullptr) return false;
    if (help) {
        command.help = form->help;
        return true;
    }
    command.verb = form->verb;
    why = words[0] + " takes other operands, see tsport " + words[0] + " --help";
    if (operands < form->least || operands > std::char_traits<char>::length(form->operands)) return false;
    for (size_t i = 0; i < operands; ++i) {
        if (!take_operand(form->operands[i], words[i + 1], command, why)) return false;
    }
    return true;
}

}  // namespace

bool parse_arguments(const std::vector<std::string>& arguments, Command& command, std::string& why) {
    std::vector<std::string> words;
    bool help = false;
    if (!take_options(arguments, command, words, help, why)) return false;
    if (help && words.empty()) {
        command.help = general_help;
        return true;
    }
    if (!take_words(words, command, help, why)) return false;
    why = "--dry-run belongs to import";
    if (command.dry_run && command.verb != Verb::import_ports) return false;
    why = "--library goes with --store";
    return command.library.empty() || !command.store.empty();
}

}  // namespace tsport
