// All findings. docs/DOCTOR.md lists them with cause and remedy; a test compares the two.
#include "tsport/doctor/findings.h"

namespace tsport::doctor {

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> table = {
        {"spooler.missing", "Nothing can be printed here."},
        {"spooler.stopped", "Nothing is printed until it runs."},
        {"spooler.disabled", "Nothing is printed, and it will not start with Windows."},
        {"spooler.not-loaded", "The spooler does not have this monitor's ports."},

        {"monitor.not-registered", "The spooler does not know the monitor; its ports do not exist."},
        {"monitor.other-driver", "The spooler loads another library, or none, for these ports."},
        {"monitor.protected-print", "In this mode the spooler loads no third-party port monitor."},
        {"monitor.no-library", "The spooler cannot load the monitor; its ports do not exist."},
        {"monitor.damaged", "The spooler cannot load the monitor; its ports do not exist."},
        {"monitor.not-x64", "The spooler of 64-bit Windows cannot load it."},
        {"monitor.other-version", "The library and this program come from different packages."},
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
        {"conf.utf16", "The monitor does not read UTF-16: it understands no line of the file."},
        {"conf.utf8-mark", "The first line is not understood."},
        {"conf.not-utf8", "Names and paths with such characters are not found."},
        {"conf.ctrl-z", "The monitor stops reading there and ignores the lines after it."},
        {"conf.nul-byte", "The monitor ignores the rest of the line."},
        {"conf.lone-cr", "The monitor ignores the rest of the line."},
        {"conf.long-line", "The monitor reads the line as several lines."},
        {"conf.no-equals", "The line is ignored."},
        {"conf.no-name", "The line is ignored."},
        {"conf.unknown-name", "The line is ignored; the setting it was meant for keeps its default."},
        {"conf.blank-beside-name", "The blank counts as part of the name, so the line is ignored."},
        {"conf.bad-number", "A value that is not a number is ignored; leading digits are used."},
        {"conf.bad-switch", "Only on, true and yes switch a setting on; any other value switches it off."},
        {"conf.bad-word", "The setting is off, or has its default."},
        {"conf.cut-value", "The value is cut at the limit."},
        {"conf.overridden", "If a setting occurs twice, the later one wins."},

        {"env.missing", "The monitor assumes version 15; printing is not affected."},
        {"env.unreadable", "The monitor assumes version 15; printing is not affected."},
        {"env.no-version", "The monitor assumes version 15; printing is not affected."},
        {"env.too-old", "The Print Provider of this version does not work in that mode."},

        {"helper.missing", "Hardware checks and forced attributes do not work."},
        {"helper.no-program", "It cannot be started: hardware checks and forced attributes do not work."},
        {"helper.long-path", "The monitor cuts the path and cannot start the helper."},
        {"helper.shadowed", "The path is passed without quotes: another program runs with the spooler's rights."},
        {"helper.folder-writable",
         "The path is passed without quotes: users can run a program of their own with the "
         "spooler's rights."},

        {"dirs.no-spool", "No marker or record of a job is found: jobs that are not approved are printed."},
        {"dirs.no-notapproved", "Jobs that are not approved are printed."},
        {"dirs.no-settings", "No device is checked before a job."},
        {"dirs.no-forceattr", "Forced attributes are skipped."},
        {"dirs.incomplete-path", "It is searched for below the spooler's working directory."},

        {"rights.users-write", "Users can release jobs, change settings or run programs with the spooler's rights."},
        {"rights.users-cannot-see",
         "Documents are printed as the user; a file the user may not read counts as missing."},
        {"rights.system-cannot-write", "The log or the records cannot be written."},

        {"log.not-writable", "Nothing is logged."},
        {"log.no-rotation", "The log grows without limit."},
        {"log.rotation-blocked", "The log grows without limit, or lines are lost at a rotation."},
        {"log.errors", "Documents were delayed or lost, or part of the installation does not work."},

        {"ports.not-loaded", "The spooler does not have the port."},
        {"ports.bad-line", "No port can be imported from this file until it is corrected."},
        {"ports.odd-name", "Windows cannot reliably assign such a port to a printer, or takes it for another one."},
        {"ports.odd-address", "The printer cannot be found; documents wait in the queue."},
        {"ports.bad-number", "No connection can be made; documents wait in the queue."},
        {"ports.same-printer", "Documents of these ports wait for each other at the device, which may refuse some."},
        {"ports.unknown-host", "Documents wait in the queue."},
        {"ports.refused", "The device answers but accepts no documents on this TCP port; they wait in the queue."},
        {"ports.silent-address", "Every document waits at the silent addresses first."},
        {"ports.no-answer", "The device is off or cannot be reached; documents wait in the queue."},

        {"queues.port-gone", "Documents of the queue are not printed."},
        {"queues.no-queue", "Nothing prints to the port; it may be a leftover."},
    };
    return table;
}

}  // namespace tsport::doctor
