// Scripts that complete command lines; verbs and options come from the table of verbs.
#include "tsport/answer.h"

namespace tsport {
namespace {

// @VERBS@, @COMMON@ and @CASES@ are put in below.
const char bash_script[] = R"script(# Completion of tsport for bash.
_tsport() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} verb= name plain i
    local tool=${COMP_WORDS[0]} options='@COMMON@' where=() names=
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            --store | --library | --server | --servers)
                plain=${COMP_WORDS[i + 1]//[\"\']/}
                where+=("${COMP_WORDS[i]}" "${plain//\\/}")
                ((++i)) ;;
            --wait | --timeout) ((++i)) ;;
            -*) ;;
            *) [[ -n $verb ]] || verb=${COMP_WORDS[i]} ;;
        esac
    done
    case $before in
        --store | --library | --servers) compopt -o default; return ;;
        --server | --wait | --timeout) return ;;
    esac
    case $verb in
@CASES@
    esac
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
    elif [[ -z $verb || $verb == help ]]; then
        mapfile -t COMPREPLY < <(compgen -W '@VERBS@ help' -- "$word")
    elif [[ -n $names ]]; then
        plain=${word#[\"\']}
        [[ $word == "$plain" ]] && plain=${word//\\/}
        while IFS= read -r name; do
            name=${name%$'\r'}
            [[ $name == "$plain"* ]] || continue
            # Behind a quote the name stands as it is; the shell closes it.
            [[ $word == [\"\']* ]] || name=$(printf %q "$name")
            COMPREPLY+=("$name")
        done < <("$tool" "${where[@]}" list --names 2>/dev/null)
    fi
}
complete -F _tsport tsport tsport.exe
)script";

const char powershell_script[] = R"script(# Completion of tsport for PowerShell.
Register-ArgumentCompleter -Native -CommandName tsport, tsport.exe -ScriptBlock {
    param($word, $line, $position)
    $words = @($line.CommandElements | ForEach-Object { $_.ToString() })
    $verb = $null
    $where = @()
    for ($i = 1; $i -lt $words.Count; $i++) {
        if ($line.CommandElements[$i].Extent.EndOffset -ge $position) { break }
        if ($words[$i] -in '--store', '--library', '--server', '--servers' -and $i + 1 -lt $words.Count) {
            $where += $words[$i], $words[$i + 1].Trim("'", '"')
            $i++
        } elseif ($words[$i] -in '--wait', '--timeout') {
            $i++
        } elseif (-not $words[$i].StartsWith('-') -and -not $verb) {
            $verb = $words[$i]
        }
    }
    $options = '@COMMON@'.Split(' ')
    $names = $false
    switch ($verb) {
@CASES@
    }
    $plain = $word.Trim("'", '"')
    if ($word.StartsWith('-')) {
        $found = $options
    } elseif (-not $verb -or $verb -eq 'help') {
        $found = '@VERBS@ help'.Split(' ')
    } elseif ($names) {
        $found = & $words[0] @where list --names 2>$null
    } else {
        return
    }
    $found | Where-Object { $_.StartsWith($plain, 'OrdinalIgnoreCase') } | ForEach-Object {
        $text = if ($_ -match "[^\w.:*?-]") { "'" + $_.Replace("'", "''") + "'" } else { $_ }
        [System.Management.Automation.CompletionResult]::new($text, $_, 'ParameterValue', $_)
    }
}
)script";

void put(std::string& script, const std::string& mark, const std::string& text) {
    for (size_t place = 0; (place = script.find(mark, place)) != std::string::npos; place += text.size()) {
        script.replace(place, mark.size(), text);
    }
}

std::string names_of(const command_line::Options& options) {
    std::string names;
    for (const command_line::Option& option : options) names += (names.empty() ? "" : " ") + option.name;
    return names;
}

// What differs from verb to verb: its options, and whether its operands are ports.
std::string case_of(const Verb& verb, bool bash) {
    Command nowhere;
    const std::string options = names_of(verb.options(nowhere));
    const std::string operands = verb.operands;
    const bool has_names = operands.find("NAME") != std::string::npos && operands.rfind("NAME HOST", 0) != 0;
    const bool has_file = operands.starts_with("FILE") || operands.starts_with("LOG");
    const std::string name = verb.name;
    if (!bash) {
        return "        '" + name + "' { $options += '" + options + "'.Split(' '); $names = $" +
               (has_names || name == "set" ? "true" : "false") + " }\n";
    }
    return "        " + name + ") options+=' " + options + "'" + (has_names || name == "set" ? " names=yes" : "") +
           (has_file ? "; compopt -o default" : "") + " ;;\n";
}

}  // namespace

void completion(const Task& task) {
    const bool bash = task.command.topic == "bash";
    std::string script = bash ? bash_script : powershell_script;
    Command nowhere;
    std::string words;
    std::string cases;
    for (const Verb& verb : verbs()) {
        words += (words.empty() ? "" : " ") + std::string(verb.name);
        cases += case_of(verb, bash);
    }
    cases.pop_back();
    put(script, "@VERBS@", words);
    put(script, "@COMMON@", names_of(common_options(nowhere)) + " --help --version");
    put(script, "@CASES@", cases);
    task.reply.payload = script;
    task.reply.has_payload = true;
}

}  // namespace tsport
