// The hardware check: for a printer whose settings ask for it, a helper watches the device from the start of a document
// to its end. It can hold the job while there is a problem, or order it dropped.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// Sets the port's hardware-check active flag from its printer's settings record, and returns it.
uint32_t IsHwCheckEnabled(PortEntry* port);

// Starts the helper and tells it about the document; blocks for as long as it holds the job. TRUE: it has released the
// job and stays running, its handles in the port. FALSE: it is not running; no check applies, it failed, or it ordered
// the job dropped, which the port's marked_for_deletion tells. *helper_failed (may be null) is 1 when trying once more
// may help, once the printer answers. Takes MonitorLock while it looks for the helper and starts it.
BOOL HwCheckStartDoc(PortEntry* port, uint32_t* helper_failed);

// At the end of a document, and when a start fails after the helper was started: notifies the helper and releases it.
void HwCheckEndDoc(PortEntry* port);
void HwCheckEnd(PortEntry* port);

// Closes what the port still holds of the helper.
void HwCheckCloseHandles(PortEntry* port);

}  // namespace tsmon
