#include "testbed/status_words.h"

#include <cstdio>
#include <span>

namespace testbed {
namespace {

struct Word {
    DWORD value;
    const char* text;
};

constexpr Word job_words[] = {
    {JOB_STATUS_PAUSED, "paused"},   {JOB_STATUS_SPOOLING, "spooling"}, {JOB_STATUS_PRINTING, "printing"},
    {JOB_STATUS_PRINTED, "printed"}, {JOB_STATUS_DELETING, "deleting"}, {JOB_STATUS_DELETED, "deleted"},
    {JOB_STATUS_RESTART, "restart"}, {JOB_STATUS_OFFLINE, "offline"},   {JOB_STATUS_PAPEROUT, "paper out"},
    {JOB_STATUS_ERROR, "error"},
};
constexpr Word printer_words[] = {
    {PRINTER_STATUS_PAUSED, "paused"},       {PRINTER_STATUS_ERROR, "error"},
    {PRINTER_STATUS_PAPER_JAM, "paper jam"}, {PRINTER_STATUS_PAPER_OUT, "paper out"},
    {PRINTER_STATUS_OFFLINE, "offline"},     {PRINTER_STATUS_OUTPUT_BIN_FULL, "output bin full"},
    {PRINTER_STATUS_TONER_LOW, "toner low"}, {PRINTER_STATUS_NO_TONER, "no toner"},
    {PRINTER_STATUS_DOOR_OPEN, "door open"},
};
constexpr Word command_words[] = {
    {JOB_CONTROL_PAUSE, "pause"},     {JOB_CONTROL_RESUME, "resume"}, {JOB_CONTROL_CANCEL, "cancel"},
    {JOB_CONTROL_RESTART, "restart"}, {JOB_CONTROL_DELETE, "delete"}, {JOB_CONTROL_SENT_TO_PRINTER, "sent to printer"},
};

std::string number(DWORD value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(value));
    return text;
}

std::string bits_to_text(DWORD status, std::span<const Word> words, const char* none) {
    std::string text;
    for (const Word& word : words) {
        if ((status & word.value) == 0) continue;
        text += (text.empty() ? "" : ", ") + std::string(word.text);
        status &= ~word.value;
    }
    if (status != 0) text += (text.empty() ? "" : ", ") + number(status);
    return text.empty() ? none : text;
}

}  // namespace

std::string job_status_to_text(DWORD status) {
    return bits_to_text(status, job_words, "no status");
}

std::string printer_status_to_text(DWORD status) {
    return bits_to_text(status, printer_words, "ready");
}

std::string job_command_to_text(DWORD command) {
    for (const Word& word : command_words) {
        if (word.value == command) return word.text;
    }
    return number(command);
}

}  // namespace testbed
