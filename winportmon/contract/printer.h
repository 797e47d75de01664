// Whether a printer accepts connections, determined as a document will find out.
#pragma once

#include <atomic>

#include "winportmon/contract/port_config.h"

namespace contract {

// The printer's addresses in the order in which the monitor tries them, for FreeAddrInfoW; 0, or a Winsock error. An
// address that is empty and a number that is no TCP port are failed look-ups.
int LookUpPrinter(const WCHAR* address, uint32_t port_number, ADDRINFOW** found);

enum class Verdict {
    accepted,
    refused,       // by one address at least, and accepted by none
    no_answer,     // from one address at least within the limit, and no other answered
    unknown_name,  // no address was found for the name
    failed,        // for another reason, which PrinterCheck::error tells
};

struct PrinterCheck {
    Verdict verdict;
    DWORD error;            // Winsock's, of the look-up or of the last address; 0 when one accepted
    uint32_t addresses;     // of the name
    uint32_t silent;        // those that did not answer, of the ones before the first that accepted
    uint32_t wait_seconds;  // how long a document waits for the silent ones before it gets to the one that accepted
};

// Connects and closes the connections again, all addresses at once with one limit each; the look-up takes as long as
// the system's resolver does. Ends early, with any verdict, once *stop is set; null: never.
PrinterCheck CheckPrinter(const WCHAR* address, uint32_t port_number, DWORD limit_ms,
                          const std::atomic<bool>* stop = nullptr);

}  // namespace contract
