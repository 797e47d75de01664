// Completion of command lines: the script for a shell, and the words that it asks for while a line is typed.
#include <algorithm>
#include <sstream>

#include "tsport/answer.h"
#include "winportmon/contract/rules.h"

namespace tsport {
namespace {

using command_line::Option;
using command_line::Words;

// Behind an opening quote a word stands as it is, and bash closes the quote: what it would read there is left out.
const char bash_script[] = R"script(# Completion of tsport for bash.
_tsport() {
    local word=${COMP_WORDS[COMP_CWORD]} words=() found plain i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        plain=${COMP_WORDS[i]}
        if [[ $plain == [\"\']* ]]; then plain=${plain//[\"\']/}; else plain=${plain//\\/}; fi
        words+=("$plain")
    done
    found=$("${COMP_WORDS[0]}" completion words -- "${words[@]}" 2>/dev/null) || compopt -o default
    plain=${word#[\"\']}
    [[ $word == "$plain" ]] && plain=${word//\\/}
    while IFS= read -r i; do
        i=${i%$'\r'}
        [[ -n $i && $i == "$plain"* && ($i != -* || $word == -*) ]] || continue
        case $word in
            \'*) [[ $i == *\'* ]] || COMPREPLY+=("$i") ;;
            \"*) [[ $i == *[\"\$\`\\!]* ]] || COMPREPLY+=("$i") ;;
            *) COMPREPLY+=("$(printf %q "$i")") ;;
        esac
    done <<<"$found"
}
complete -F _tsport tsport tsport.exe
)script";

const char powershell_script[] = R"script(# Completion of tsport for PowerShell.
Register-ArgumentCompleter -Native -CommandName tsport, tsport.exe -ScriptBlock {
    param($word, $line, $position)
    $words = @($line.CommandElements | Where-Object { $_.Extent.EndOffset -lt $position } | ForEach-Object {
        if ($_ -is [System.Management.Automation.Language.StringConstantExpressionAst]) { $_.Value }
        else { $_.Extent.Text.Trim('"') }
    })
    $others = @($words | Select-Object -Skip 1)
    $plain = $word.Trim("'", '"')
    & $words[0] completion words -- @others 2>$null | Where-Object {
        $_.StartsWith($plain, 'OrdinalIgnoreCase') -and ($word.StartsWith('-') -or -not $_.StartsWith('-'))
    } | ForEach-Object {
        $text = $_
        if ($text -match "[^\w.:*?-]") {
            $text = "'" + [System.Management.Automation.Language.CodeGeneration]::EscapeSingleQuotedStringContent($_) + "'"
        }
        [System.Management.Automation.CompletionResult]::new($text, $_, 'ParameterValue', $_)
    }
}
)script";

bool takes_names(const Verb& verb) {
    const std::string operands = verb.operands;
    return verb.run == set || (operands.find("NAME") != std::string::npos && !operands.starts_with("NAME HOST"));
}

// The names of the ports that `where` (--store FILE and the like) leads to, but for such as no terminal should get.
void add_port_names(Words where, Words& found) {
    where.insert(where.end(), {"list", "--names"});
    std::istringstream names(run(where).out);
    for (std::string name; std::getline(names, name);) {
        const Text text = host::to_text(name);
        if (std::none_of(text.begin(), text.end(), contract::IsInvisible)) found.push_back(name);
    }
}

// The words that can stand behind these; not_there when it can also be a file's name.
Status next_words(const Words& before, Words& found) {
    Command nowhere;
    const command_line::Options common = common_options(nowhere);
    const command_line::Options all = all_options(nowhere);
    const Verb* verb = nullptr;
    Words where;
    for (size_t i = 0; i < before.size(); ++i) {
        const Option* const option = command_line::find_option(all, before[i]);
        if (option == nullptr || option->value.empty()) {
            if (verb == nullptr) verb = find_verb(before[i]);
        } else if (i + 1 == before.size()) {
            return option->value == "FILE" || option->value == "PATH" || option->value == "DIR" ? not_there : done;
        } else {
            if (command_line::find_option(common, before[i]) != nullptr)
                where.insert(where.end(), {before[i], before[i + 1]});
            ++i;
        }
    }
    found = {"--help", "--version"};
    for (const Option& option : common) found.push_back(option.name);
    if (verb == nullptr) {
        for (const std::string& name : verb_names()) found.push_back(name);
        return done;
    }
    for (const Option& option : verb->options(nowhere)) found.push_back(option.name);
    if (takes_names(*verb)) add_port_names(where, found);
    const std::string operands = verb->operands;
    return operands.starts_with("FILE") || operands.starts_with("LOG") ? not_there : done;
}

}  // namespace

void completion(const Task& task) {
    Reply& reply = task.reply;
    reply.has_payload = true;
    if (task.command.topic != "words") {
        reply.payload = task.command.topic == "bash" ? bash_script : powershell_script;
        return;
    }
    Words found;
    reply.status = next_words(task.command.words, found);
    for (const std::string& word : found) reply.payload += word + "\n";
}

}  // namespace tsport
