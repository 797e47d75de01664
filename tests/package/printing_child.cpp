#include "tests/package/printing_child.h"

#include <shellapi.h>

#include <cstdio>
#include <cwchar>
#include <future>

#include "tests/package/outside_printer.h"
#include "tests/package/printing.h"
#include "tests/support/platform.h"
#include "tools/peer/pattern.h"

namespace test {
namespace {

constexpr WCHAR mark[] = L"--print";

// Each document from `begin` to `end` on every queue; false when one was not printed.
bool print_rounds(const ChildTask& task, DWORD begin, DWORD end) {
    const auto print_on = [&](const Text& queue) {
        bool all = true;
        for (DWORD round = begin; round < end; ++round) {
            const printing::Outcome outcome = printing::print(queue, child_document(task, queue, round));
            const printing::Command sent = {outcome.job, 0, JOB_CONTROL_SENT_TO_PRINTER, TRUE};
            all = all && outcome.told && outcome.forgotten && outcome.commands == std::vector{sent};
        }
        return all;
    };
    std::vector<std::future<bool>> threads;
    for (const Text& queue : task.queues) threads.push_back(std::async(std::launch::async, print_on, queue));
    bool all = true;
    for (std::future<bool>& thread : threads) all = thread.get() && all;
    return all;
}

}  // namespace

std::string child_document(const ChildTask& task, const Text& queue, DWORD round) {
    return "child " + std::to_string(task.first) + " on " + host::to_utf8(queue) + ", " + std::to_string(round) + "\n" +
           peer::pattern(round * 4096);
}

Text command_of(const ChildTask& task) {
    WCHAR program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    Text command = Text(L"\"") + program + L"\" " + mark + L" " + std::to_wstring(task.first) + L" " +
                   std::to_wstring(task.rounds);
    for (const Text& queue : task.queues) command += L" \"" + queue + L"\"";
    return command;
}

bool parse_child_arguments(ChildTask& task) {
    int count = 0;
    LPWSTR* const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    const bool child = count > 4 && std::wcscmp(arguments[1], mark) == 0;
    if (child) {
        task.first = std::wcstoul(arguments[2], nullptr, 10);
        task.rounds = std::wcstoul(arguments[3], nullptr, 10);
        task.queues.assign(arguments + 4, arguments + count);
    }
    LocalFree(arguments);
    return child;
}

int print_as_child(const ChildTask& task) {
    bool printed = printing::begin_jobs_at(task.queues.front(), task.first) && print_rounds(task, 0, 1);
    const size_t before = open_handles();
    printed = print_rounds(task, 1, task.rounds) && printed;
    const bool clean = wait_until([before] { return open_handles() <= before; });
    if (!printed) std::printf("not every document was printed\n");
    if (!clean) std::printf("%zu handles, not %zu\n", open_handles(), before);
    return printed && clean ? 0 : 1;
}

}  // namespace test
