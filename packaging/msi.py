"""Builds the installer package with wixl, and adds what wixl has no element for."""
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import time
import uuid

HERE = pathlib.Path(__file__).resolve().parent
BINARIES = (HERE / "binaries.txt").read_text("ascii").split()
# The names that the code has in winportmon/contract/names.h.
NAMES = {name: text.replace(r"\\", "\\") for name, text in re.findall(
    r'^#define (\w+) "(.*)"$', (HERE.parent / "winportmon/contract/names.h").read_text("ascii"), re.M)}
MONITOR = rf"HKLM\{NAMES['MONITORS_KEY']}\{NAMES['MONITOR_NAME']}"
# A command of the system's own account that may fail, and runs once all else is done, and only then.
IN_A_FOLDER = 34
AT_THE_END = IN_A_FOLDER + 0x40 + 0x200 + 0x400 + 0x800
# What only an administrator may do. Anything else, which any user may ask for, leaves the spooler alone.
INSTALLED_OR_REMOVED = '(NOT Installed OR REMOVE="ALL")'
QUEUES_MESSAGE = (
    "Queues still print to ports of this monitor, or the spooler did not tell; without the monitor they stop printing. "
    "As administrator: 'tsport migrate --to-standard --apply' gives them Standard TCP/IP ports. To remove the monitor all "
    "the same: msiexec /x PACKAGE.msi QUEUES=stay ([2])")
# The times in the cabinet and in the summary are local ones.
ENVIRONMENT = {**os.environ, "TZ": "UTC"}


def tables(version, seconds, sums):
    """By name of the table: the column that tells its rows apart, and what is changed in a row or added with it;
    None removes it."""
    date = time.strftime("%Y/%m/%d %H:%M:%S", time.gmtime(seconds))
    return {
        "_SummaryInformation": ("PropertyId", {
            "9": {"Value": code("package", version, sums, str(seconds))}, "12": {"Value": date}, "13": {"Value": date}}),
        # What is installed is replaced by a package of the same version with other contents, too.
        "Upgrade": ("ActionProperty", {"WIX_UPGRADE_DETECTED": {"Attributes": "513"}}),
        "Property": ("Property", {
            "SecureCustomProperties": {"Value": "QUEUES;REMOVEPORTS;WIX_DOWNGRADE_DETECTED;WIX_UPGRADE_DETECTED"}}),
        # wixl leaves the versions out and gives hashes instead, which are for files without one.
        "MsiFileHash": ("File_", {name: None for name in BINARIES}),
        "File": ("File", {name: {"Version": f"{version}.0", "Language": "1033"} for name in BINARIES}),
        "Environment": ("Environment", {
            "Path": {"Name": "=-*PATH", "Value": "[~];[INSTALLDIR]", "Component_": "CommandLine"}}),
        # A removal with windows ends where queues would stop printing; tsport tells by its exit status. One without
        # windows, and one with QUEUES=stay, goes on.
        "Error": ("Error", {"1722": {"Message": QUEUES_MESSAGE}}),
        "CustomAction": ("Action", {
            "FindQueues": {"Type": str(IN_A_FOLDER), "Source": "System64Folder",
                           "Target": '"[System64Folder]cmd.exe" /c ""[#tsport.exe]" delete * --dry-run '
                                     '& if errorlevel 2 (exit 2) else (exit 0)"'},
            "RemovePorts": {"Type": str(AT_THE_END), "Source": "System64Folder",
                            "Target": f'"[System64Folder]reg.exe" delete "{MONITOR}" /f'},
            "RemoveFormer": {"Type": str(AT_THE_END), "Source": "System64Folder",
                             "Target": '"[System64Folder]cmd.exe" /c rmdir /s /q "[INSTALLDIR]former"'}}),
        # What the scripts of earlier packages have left: their own files at once, replaced libraries with the monitor.
        "RemoveFile": ("FileKey", {name: {"Component_": "CommandLine", "FileName": name, "DirProperty": "INSTALLDIR",
                                          "InstallMode": "3"} for name in ("version.txt", "uninstall.cmd")}),
        "InstallExecuteSequence": ("Action", {
            # The version before goes within the transaction, so that it comes back when the new one fails. Its removal
            # leaves the spooler stopped, which starts once.
            "RemoveExistingProducts": {"Sequence": "1501"},
            "StopServices": {"Condition": INSTALLED_OR_REMOVED},
            "StartServices": {"Condition": f'{INSTALLED_OR_REMOVED} AND NOT UPGRADINGPRODUCTCODE AND SPOOLERSTART <> "#4"'},
            "FindQueues": {"Condition": 'REMOVE="ALL" AND UILevel > 2 AND QUEUES <> "stay" AND NOT UPGRADINGPRODUCTCODE',
                           "Sequence": "1450"},
            "RemoveEnvironmentStrings": {"Sequence": "3300"},
            "RemoveFiles": {"Sequence": "3500"},
            "WriteEnvironmentStrings": {"Sequence": "5200"},
            "RemovePorts": {"Condition": 'REMOVE="ALL" AND REMOVEPORTS=1 AND NOT UPGRADINGPRODUCTCODE',
                            "Sequence": "6500"},
            "RemoveFormer": {"Condition": 'REMOVE="ALL" AND NOT UPGRADINGPRODUCTCODE', "Sequence": "6510"}}),
    }


NEW_TABLES = {
    "Error": "Error\tMessage\ni2\tL0\nError\tError\n",
    "Environment": "Environment\tName\tValue\tComponent_\ns72\tl255\tL255\ts72\nEnvironment\tEnvironment\n",
    "RemoveFile": "FileKey\tComponent_\tFileName\tDirProperty\tInstallMode\ns72\ts72\tL255\ts72\ti2\nRemoveFile\tFileKey\n"}


def code(*parts):
    return "{" + str(uuid.uuid5(uuid.NAMESPACE_OID, " ".join(parts))).upper() + "}"


def amend(package, table, key, changes):
    text = NEW_TABLES.get(table) or subprocess.run(
        ["msiinfo", "export", package, table], check=True, env=ENVIRONMENT, stdout=subprocess.PIPE, text=True).stdout
    columns, *head = [line.split("\t") for line in text.splitlines()[:3]]
    rows = [dict(zip(columns, line.split("\t"))) for line in text.splitlines()[3:]]
    for name, values in changes.items():
        row = next((row for row in rows if row[key] == name), {key: name})
        rows = [other for other in rows if other is not row]
        if values is not None:
            rows.append({**row, **values})
    lines = [columns, *head, *([row.get(column, "") for column in columns] for row in rows)]
    path = f"{package}.idt"
    with open(path, "w", encoding="ascii", newline="") as file:
        file.writelines("\t".join(line) + "\r\n" for line in lines)
    subprocess.run(["msibuild", package, "-i", path], check=True, env=ENVIRONMENT)


def build_msi(files, version, seconds, target):
    """The same files, version and time (of the commit, in seconds) give the same bytes."""
    contents = hashlib.sha256()
    for path in sorted(path for path in files.rglob("*") if path.is_file()):
        os.utime(path, (seconds, seconds))
        contents.update(hashlib.sha256(path.read_bytes()).digest())
    sums = contents.hexdigest()
    with tempfile.TemporaryDirectory() as folder:
        package = os.path.join(folder, "package.msi")
        # wixl takes no full paths for the files.
        subprocess.run(["wixl", "-a", "x64", "-D", f"Version={version}", "-D", f"Files={os.path.relpath(files, HERE)}",
                        "-D", f"ProductCode={code('product', version, sums)}",
                        *(word for name, text in NAMES.items() for word in ("-D", f"{name}={text}")),
                        "-o", package, "tsprintportmon.wxs"], check=True, cwd=HERE, env=ENVIRONMENT)
        for table, (key, changes) in tables(version, seconds, sums).items():
            amend(package, table, key, changes)
        shutil.copyfile(package, f"{target}.part")
    os.replace(f"{target}.part", target)
