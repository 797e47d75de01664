// All findings. docs/DOCTOR.md lists them with cause and remedy; a test compares the two.
#include "tsport/doctor/findings.h"

namespace tsport::doctor {

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> table = {
        {"spooler.missing", "Nothing can be printed here."},
        {"spooler.stopped", "Nothing is printed until it runs."},
        {"spooler.disabled", "Nothing is printed, and it will not start with Windows."},
        {"spooler.not-loaded", "The ports of this monitor do not exist for the spooler."},

        {"monitor.not-registered", "The spooler does not know the monitor; its ports do not exist."},
        {"monitor.other-driver", "The spooler loads another library, or none, for these ports."},
        {"monitor.protected-print", "The spooler loads no port monitor of other makers in this mode."},
        {"monitor.no-library", "The spooler cannot load the monitor; its ports do not exist."},
        {"monitor.damaged", "The spooler cannot load the monitor; its ports do not exist."},
        {"monitor.not-x64", "The spooler of 64-bit Windows cannot load it."},
        {"monitor.other-version", "The library and this program are not of one package."},
        {"monitor.other-sum", "The library was changed, or comes from another build."},
        {"monitor.missing-import", "The spooler cannot load the monitor; its ports do not exist."},

        {"provider.not-registered",
         "There is no base directory: documents are printed, no job is held back, and no log "
         "is written."},
        {"provider.two-places", "The monitor and the Print Provider may work in different directories."},
        {"provider.long-path", "The monitor cannot read the path and tries the other place."},
        {"provider.no-base", "No setting is read, no job is held back, and no log is written."},

        {"conf.missing", "No spool directory is known, and jobs that are not approved are printed."},
        {"conf.unreadable", "No spool directory is known, and jobs that are not approved are printed."},
        {"conf.utf16", "The monitor reads bytes: it understands no line of the file."},
        {"conf.utf8-mark", "The first line is not understood."},
        {"conf.not-utf8", "Names and paths with such characters are not found."},
        {"conf.ctrl-z", "The file ends there for the monitor; all lines behind are not read."},
        {"conf.nul-byte", "The line ends there for the monitor."},
        {"conf.lone-cr", "What stands behind it in the line is not read."},
        {"conf.long-line", "The monitor takes the line for several."},
        {"conf.no-equals", "The line is passed over."},
        {"conf.no-name", "The line is passed over."},
        {"conf.unknown-name", "The line changes nothing; what it was meant for keeps its default."},
        {"conf.blank-beside-name", "The blank counts as part of the name, so that the line changes nothing."},
        {"conf.bad-number",
         "What is no number changes nothing; of a number with something behind it the digits count."},
        {"conf.bad-switch", "A switch is on with on, true or yes, and off with all else."},
        {"conf.bad-word", "The setting is off, or has its default."},
        {"conf.cut-value", "The value is cut at the limit."},
        {"conf.overridden", "Of two lines for one setting the later counts."},

        {"env.missing", "The monitor takes version 15; of no consequence for printing."},
        {"env.unreadable", "The monitor takes version 15; of no consequence for printing."},
        {"env.no-version", "The monitor takes version 15; of no consequence for printing."},
        {"env.too-old", "The Print Provider of this version does not work in that mode."},

        {"helper.missing", "Hardware checks and forced attributes do not work."},
        {"helper.no-program", "It cannot be started: hardware checks and forced attributes do not work."},
        {"helper.long-path", "The monitor cuts the path and cannot start the helper."},
        {"helper.shadowed", "The path is passed without quotes: another program runs with the spooler's rights."},
        {"helper.folder-writable",
         "The path is passed without quotes: a user can have a program of his own run with the "
         "spooler's rights."},

        {"dirs.no-spool", "No marker or record of a job is found: jobs that are not approved are printed."},
        {"dirs.no-notapproved", "Jobs that are not approved are printed."},
        {"dirs.no-settings", "No device is checked before a job."},
        {"dirs.no-forceattr", "Forced attributes are skipped."},
        {"dirs.incomplete-path", "It is looked for below the spooler's own working folder."},

        {"rights.users-write",
         "Users can release jobs, change settings or have programs run with the spooler's rights."},
        {"rights.users-cannot-see", "Documents are printed as the user, and what he may not read counts as missing."},
        {"rights.system-cannot-write", "The log or the records cannot be written."},

        {"log.not-writable", "No line is written."},
        {"log.no-rotation", "The log grows without limit."},
        {"log.rotation-blocked", "The log grows without limit, or lines are lost at a rotation."},
        {"log.errors", "Documents were late or lost, or a part of the set-up does not work."},

        {"ports.not-loaded", "The port does not exist for the spooler."},
        {"ports.bad-line", "No port is imported from this file until it is right."},
        {"ports.odd-name", "Windows cannot give such a port to a printer, or only by accident."},
        {"ports.odd-address", "No printer can be found by it; documents wait in the queue."},
        {"ports.bad-number", "No connection can be made; documents wait in the queue."},
        {"ports.same-printer", "Documents of the ports wait for each other at the device, and it can refuse some."},
        {"ports.unknown-host", "Documents wait in the queue."},
        {"ports.refused", "The device is there and takes no documents on this number; they wait in the queue."},
        {"ports.no-answer", "The device is off, or nothing leads there; documents wait in the queue."},

        {"queues.port-gone", "Documents of the queue are not printed."},
        {"queues.no-queue", "Nothing is printed over the port; it may be left over."},
    };
    return table;
}

}  // namespace tsport::doctor
