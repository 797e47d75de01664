// The device problem that holds a job, as the spooler shows it: status bits of the job and of the printer. Only the
// bits that were set here are changed. With the setting ErrorPollMethod "snmp" the Print Provider shows the problem
// itself, and nothing is touched.
#pragma once

#include "winportmon/tsmon/tsmon.h"

namespace tsmon {

// The status bits for the problem words found in a text; exact, letter case included.
DWORD PrinterStatusFromErrorText(const char* error_text);
DWORD JobStatusFromErrorText(const char* error_text);

// Replaces the bits set before by those to set now and leaves all others alone. TRUE when the status is as wanted, or
// nothing had to be done; FALSE, logged, when it could not be read or written. A change that somebody else makes in the
// moment between reading and writing is overwritten.
BOOL UpdateJobStatusBits(HANDLE printer, DWORD job_id, DWORD old_bits, DWORD new_bits);
BOOL UpdatePrinterStatusBits(HANDLE printer, DWORD old_bits, DWORD new_bits);

// A job's record, which the caller frees with free(); FALSE, logged, and a null *info.
BOOL GetJobInfo2(HANDLE printer, DWORD job_id, JOB_INFO_2W** info);

// FALSE, logged, leaves *status as it was.
BOOL GetJobStatus(HANDLE printer, DWORD job_id, DWORD* status);
BOOL SetJobStatus(HANDLE printer, DWORD job_id, DWORD status);
BOOL GetPrinterStatus(HANDLE printer, DWORD* status);
BOOL SetPrinterStatus(HANDLE printer, DWORD status);

}  // namespace tsmon
