#include "tsport/verb.h"

#include <algorithm>
#include <map>

#include "tsport/answer.h"
#include "tsport/file.h"
#include "tsport/output.h"
#include "tsport/ports/encoding.h"

namespace tsport {
namespace {

using command_line::Option;
using command_line::Options;
using command_line::ParsedLine;
using command_line::Words;

// -- Servers ---------------------------------------------------------------------------------------------------------

// "NAME" or "\\NAME"; returns what is wrong.
std::string add_server(const std::string& given, std::vector<Text>& servers) {
    Text name = host::to_text(given);
    name.erase(0, name.find_first_not_of(W("\\")));
    if (name.empty() || name.find_first_of(W("\\/,: \t")) != Text::npos) {
        return "\"" + given + "\" is not a server name; write \\\\NAME";
    }
    name = W("\\\\") + name;
    const bool known =
        std::any_of(servers.begin(), servers.end(), [&](const Text& server) { return same_name(server, name); });
    if (!known) servers.push_back(name);
    return std::string();
}

// A file with one name in each line; what follows a "#" is a comment.
std::string add_servers_of(const std::string& path, std::vector<Text>& servers) {
    std::string bytes;
    std::string why;
    Encoding encoding;
    Text text;
    Fault fault;
    if (!read_file(path, bytes, why)) return why;
    if (!decode(bytes, encoding, text, fault)) return path + ":" + std::to_string(fault.line) + ": " + fault.why;
    size_t number = 0;
    for (Text line : lines_of(text)) {
        ++number;
        line.resize(std::min(line.size(), line.find(W('#'))));
        line.erase(0, line.find_first_not_of(W(" \t")));
        line.resize(line.find_last_not_of(W(" \t")) + 1);
        if (line.empty()) continue;
        why = add_server(host::to_utf8(line), servers);
        if (!why.empty()) return path + ":" + std::to_string(number) + ": " + why;
    }
    return servers.empty() ? path + " names no server" : std::string();
}

// -- The line --------------------------------------------------------------------------------------------------------

std::string owners_of(const std::string& option, Command& nowhere) {
    std::string owners;
    for (const Verb& verb : verbs()) {
        if (command_line::find_option(verb.options(nowhere), option) == nullptr) continue;
        owners += (owners.empty() ? "" : ", ") + std::string(verb.name);
    }
    return owners;
}

// Parses the line again with the verb's own options.
bool take_options(const ParsedLine& line, Command& command, std::string& why) {
    Options options = common_options(command);
    for (Option& option : command.verb->options(command)) options.push_back(std::move(option));
    ParsedLine taken;
    for (const auto& [given, value] : line.given) {
        const Option* const known = command_line::find_option(options, given->name);
        why = given->name + " does not go with " + command.verb->name + "; it belongs to " +
              owners_of(given->name, command);
        if (known == nullptr) return false;
        taken.given.emplace_back(known, value);
    }
    return command_line::take(taken, why);
}

bool take_verb(const std::string& word, Command& command, std::string& why) {
    command.verb = find_verb(word);
    // Other tools' verbs.
    static const std::map<std::string, std::string> others = {
        {"remove", "delete"}, {"rm", "delete"},  {"del", "delete"}, {"create", "add"}, {"new", "add"},   {"ls", "list"},
        {"get", "show"},      {"change", "set"}, {"modify", "set"}, {"ping", "test"},  {"check", "test"}};
    const auto known = others.find(word);
    why = "unknown verb " + word +
          (known != others.end() ? "; did you mean " + known->second + "?"
                                 : command_line::did_you_mean(word, verb_names()));
    return command.verb != nullptr;
}

std::string misfit_of(const Command& command) {
    const bool reports = command.verb->run == report_logs;
    const bool watches = command.verb->run == watch_log;
    const bool migrates = command.verb->run == migrate::migrate;
    const bool asks_spooler =
        !reports && !watches && !migrates && command.verb->run != doctor::examine && command.verb->run != collect;
    if (!command.library.empty() && command.store.empty()) return "--library goes with --store";
    if (command.csv && command.json && (reports || command.verb->run == list))
        return "--csv and --json exclude each other";
    if (!command.servers.empty() && !asks_spooler)
        return std::string("--server does not go with ") + command.verb->name +
               (migrates ? ": run it on that server"
                         : ", which reads files: run it on that server, or name them by its share, \\\\NAME\\C$\\...");
    if (!command.store.empty() && (reports || watches || migrates))
        return std::string("--store does not go with ") + command.verb->name;
    return command.store.empty() || command.servers.empty() ? "" : "--store and --server exclude each other";
}

}  // namespace

Options common_options(Command& command) {
    return {
        command_line::flag("--json", command.json),
        command_line::text("--store", "FILE", command.store),
        command_line::text("--library", "PATH", command.library),
        command_line::number("--wait", 0, 3600, command.wait_seconds),
        {"--server", "NAME", [&command](const std::string& name) { return add_server(name, command.servers); }},
        {"--servers", "FILE", [&command](const std::string& path) { return add_servers_of(path, command.servers); }},
    };
}

Options all_options(Command& command) {
    Options options = common_options(command);
    for (const Verb& verb : verbs()) {
        for (Option& option : verb.options(command)) options.push_back(std::move(option));
    }
    return options;
}

bool parse_arguments(const Words& words, Command& command, std::string& why) {
    command.json = std::any_of(words.begin(), words.end(),
                               [](const std::string& word) { return word.substr(0, word.find('=')) == "--json"; });
    Command nowhere;  // the values are discarded in this pass
    const Options options = all_options(nowhere);
    ParsedLine line;
    if (!command_line::split(words, options, line, why)) return false;
    const bool topic = line.words.size() > 1 && line.words[0] == "help";
    if (line.version || line.words == Words{"help"} || (line.help && line.words.empty())) {
        command.text = line.version ? std::string("tsport ") + command_line::version() + "\n" : general_help();
        return true;
    }
    why = "no verb given";
    if (line.words.empty() || !take_verb(line.words[topic ? 1 : 0], command, why)) return false;
    if (line.help || topic) {
        command.text = with_pages(command.verb->help);
        return true;
    }
    if (!take_options(line, command, why)) return false;
    why = command.verb->take(Words(line.words.begin() + 1, line.words.end()), command);
    if (why == "operands") {
        why = std::string(command.verb->name) + " takes " +
              (*command.verb->operands != 0 ? command.verb->operands : "no operands") + "; see tsport " +
              command.verb->name + " --help";
    }
    if (why.empty()) why = misfit_of(command);
    return why.empty();
}

}  // namespace tsport
