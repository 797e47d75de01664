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

// A check under way, for those who have many at once; it ends with the object.
class PrinterProbe {
  public:
    PrinterProbe() = default;
    ~PrinterProbe();
    PrinterProbe(const PrinterProbe&) = delete;
    PrinterProbe& operator=(const PrinterProbe&) = delete;

    // Looks the name up, and begins to connect to its addresses. Called once.
    void Start(const WCHAR* address, uint32_t port_number);
    // Waits at most so long; whether the check has ended. An address that has not answered `limit_ms` after the start
    // is silent.
    bool Wait(DWORD wait_ms, DWORD limit_ms);
    // Once it has ended.
    const PrinterCheck& check() const { return check_; }

  private:
    static constexpr uint32_t kMostAddresses = 16;  // further ones are not tried
    int WaitFor(uint32_t index, DWORD wait_ms, DWORD limit_ms);

    SOCKET sockets_[kMostAddresses] = {};
    int errors_[kMostAddresses] = {};  // WSAEWOULDBLOCK while the connection is being made
    PrinterCheck check_ = {Verdict::failed, 0, 0, 0, 0};
    DWORD begin_ = 0;
    uint32_t next_ = 0;  // the address that is waited for
    bool started_ = false;
    bool refused_ = false;
    bool ended_ = false;
};

// Connects and closes the connections again, all addresses at once with one limit each; the look-up takes as long as
// the system's resolver does. Ends early, with any verdict, once *stop is set; null: never.
PrinterCheck CheckPrinter(const WCHAR* address, uint32_t port_number, DWORD limit_ms,
                          const std::atomic<bool>* stop = nullptr);

}  // namespace contract
