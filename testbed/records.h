// What the Print Provider leaves for the monitor beside the settings: the helper program, and the records that bring it
// into play. All return false when the file cannot be written.
#pragma once

#include <string>

#include "host/setup.h"

namespace testbed {

using host::BaseFolder;

// The file name of the helper program in the base folder.
extern const char helper_file_name[];

// Copies the sample helper program, which lies beside the running program.
bool install_helper(const BaseFolder& folder);
// What the helper answers from its next start on; the lines are described in testbed/helper/script.h.
bool set_helper_script(const BaseFolder& folder, const std::string& script);

// What the Print Provider has prepared for a document.
struct DocumentPlan {
    bool not_approved = false;  // there is a marker
    bool progress = false;      // there is a progress record
    bool checked = false;       // the printer's hardware is checked
    bool forced = false;        // attributes are forced
    std::string script = "";    // what the helper answers for this printer
};
bool lay_out(const BaseFolder& folder, const std::string& printer, DWORD job_id, const DocumentPlan& plan);
// Removes what the monitor has left of it.
void clear_away(const BaseFolder& folder, const std::string& printer, DWORD job_id, const DocumentPlan& plan);
std::string progress_record_path(const BaseFolder& folder, const std::string& printer, DWORD job_id);

// A printer whose hardware is checked; attributes (duplex, two copies) to be forced on a job.
std::string settings_record();
std::string force_attributes_record();

// The printer's hardware is checked for each of its documents, until the record is removed.
std::string settings_record_path(const BaseFolder& folder, const std::string& printer);
bool write_settings_record(const BaseFolder& folder, const std::string& printer);
// Attributes are forced on one job.
bool write_force_attributes_records(const BaseFolder& folder, const std::string& printer, DWORD job_id);

}  // namespace testbed
