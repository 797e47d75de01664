// Critical sections.
#pragma once

#include "winapi/linux/types.h"

// Re-entrant by the thread that holds it. Deleting one that is held, or leaving one that is not, is counted as a
// misuse (control.h).
struct CRITICAL_SECTION {
    void* lock;
};

BOOL InitializeCriticalSectionAndSpinCount(CRITICAL_SECTION* section, DWORD spin_count);
void EnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);
