#!/usr/bin/env python3
"""Looks at a finished library or program as Windows and its debuggers will:

    check_binary.py PATH VERSION LLVM_VERSION
"""
import os
import re
import struct
import subprocess
import sys

sys.dont_write_bytecode = True
from checks import report  # noqa: E402

ENGLISH = 1033
DIALOG, STRING_TABLE, VERSION, MANIFEST = 5, 6, 16, 24
WINDOWS_LIBRARIES = {"kernel32.dll", "msvcrt.dll", "user32.dll", "advapi32.dll", "shell32.dll", "ws2_32.dll", "spoolss.dll",
                     "winspool.drv"}
FLAGS = {"DYNAMIC_BASE", "HIGH_ENTROPY_VA", "NX_COMPAT"}
# By file name: the exports, some strings, the dialogs and manifests; the only functions of the spooler's libraries; and
# functions with the source file that the symbols must name.
BINARIES = {
    "tsprintportmon.dll": {
        "exports": ["InitializePrintMonitor2"],
        "strings": ["Tessaron TCP/IP Port"],
        "dialogs": [],
        "manifests": [],
        # EnumPortsW is not among them: it is looked up at run time.
        "winspool.drv": {"OpenPrinterW", "ClosePrinter", "GetJobW", "SetJobW", "GetPrinterW", "SetPrinterW"},
        "spoolss.dll": {"RevertToPrinterSelf", "ImpersonatePrinterClient"},
        "functions": {"InitializePrintMonitor2": "winportmon\\tsmon\\tsmon.cpp",
                      "tsmon::StartDocPort": "winportmon\\tsmon\\tsmon_document.cpp"},
    },
    "tsprintportmonui.dll": {
        "exports": ["InitializePrintMonitorUI"],
        "strings": ["Add Tessaron TCP/IP Port", "this computer"],
        "dialogs": [100, 101, 102],
        "manifests": [2],
        "winspool.drv": {"OpenPrinterW", "ClosePrinter", "XcvDataW", "EnumPrintersW"},
        "spoolss.dll": set(),
        "functions": {"InitializePrintMonitorUI": "winportmon\\tsmonui\\tsmonui.cpp"},
    },
    "tsport.exe": {
        "exports": [],
        "strings": [],
        "dialogs": [],
        "manifests": [],
        "winspool.drv": None,
        "spoolss.dll": None,
        "functions": {"main": "tsport\\main.cpp"},
    },
}


def output_of(tool, *arguments):
    """What one of LLVM's tools prints, in the version that the last argument of the program names."""
    return subprocess.run([f"{tool}-{sys.argv[-1]}", *arguments], check=True, stdout=subprocess.PIPE).stdout.decode()


def resources_of(text):
    """(type, number, language) to the bytes of each resource, from what llvm-readobj prints."""
    found = {}
    path = [0, 0, 0]
    for line in text.splitlines():
        if node := re.match(r" +(Type|Name|Language): .*\(ID (\d+)\) \[", line):
            path[["Type", "Name", "Language"].index(node[1])] = int(node[2])
        elif row := re.match(r" +[0-9A-F]+: ([0-9A-F ]+)  \|", line):
            found[tuple(path)] = found.get(tuple(path), b"") + bytes.fromhex(row[1])
    return found


def imports_of(text):
    """Library, in lower case, to the names of its functions."""
    found = {}
    for name, symbols in re.findall(r"(?ms)^Import \{\n  Name: (\S+)$(.*?)^\}", text):
        found.setdefault(name.lower(), set()).update(re.findall(r"Symbol: (\S*)", symbols))
    return found


def image_checks(path):
    """Every check as (what is asked, what must be there, what is there)."""
    name = os.path.basename(path)
    expected = BINARIES[name]
    text = output_of("llvm-readobj", "--file-headers", "--sections", "--coff-imports", "--coff-exports", path)
    is_library = name.endswith(".dll")
    yield "64-bit image for x64", (True, True), ("IMAGE_FILE_MACHINE_AMD64" in text, "Magic: 0x20B\n" in text)
    yield "library", is_library, "IMAGE_FILE_DLL " in text
    yield "flags", FLAGS, FLAGS & set(re.findall(r"IMAGE_DLL_CHARACTERISTICS_(\w+)", text))
    yield "relocations, without which random addresses are void", True, (
        "Name: .reloc " in text and "BaseRelocationTableSize: 0x0\n" not in text)
    sections = re.findall(r"(?ms)^  Section \{\n.*?Name: (\S+)(.*?)^  \}", text)
    yield "sections that can be written and executed", [], [
        section for section, rest in sections if "MEM_WRITE" in rest and "MEM_EXECUTE" in rest]
    yield "symbols in the image", [], [
        section for section, _ in sections if section.startswith((".debug", ".stab", ".gnu_debug"))]
    yield "time in the header, which must not be that of the build", ["0x0"], re.findall(
        r"(?m)^  TimeDateStamp: .*\((\w+)\)", text)
    yield "exports", expected["exports"], re.findall(r"(?ms)^Export \{.*?Name: (\S*)", text)

    imports = imports_of(text)
    yield "imports from libraries that are not Windows' own", [], sorted(set(imports) - WINDOWS_LIBRARIES)
    yield "delayed imports", True, "DelayImportDescriptorSize: 0x0\n" in text
    for library in "winspool.drv", "spoolss.dll":
        if expected[library] is not None:
            functions = imports.get(library, set())
            yield f"imports from {library} that do not belong there", [], sorted(functions - expected[library])
            yield f"imports from {library} at all", bool(expected[library]), bool(functions)


def resource_checks(path, version):
    name = os.path.basename(path)
    expected = BINARIES[name]
    resources = resources_of(output_of("llvm-readobj", "--coff-resources", path))
    yield "languages", {ENGLISH}, {key[2] for key in resources if key[0] != MANIFEST}
    strings = b"".join(data for key, data in resources.items() if key[0] == STRING_TABLE)
    yield "missing strings", [], [text for text in expected["strings"] if text.encode("utf-16-le") not in strings]
    yield "dialogs", expected["dialogs"], sorted(key[1] for key in resources if key[0] == DIALOG)
    yield "manifests", expected["manifests"], [key[1] for key in resources if key[0] == MANIFEST]

    data = resources[(VERSION, 1, ENGLISH)]
    numbers = [int(part) for part in version.split(".")] + [0]
    high, low = (numbers[0] << 16) + numbers[1], (numbers[2] << 16) + numbers[3]
    yield "version in numbers", (0xFEEF04BD, high, low, high, low), (
        struct.unpack_from("<I", data, 40) + struct.unpack_from("<IIII", data, 48))
    yield "file type", 2 if name.endswith(".dll") else 1, struct.unpack_from("<I", data, 76)[0]
    # Names and values stand by turns; what lies between are lengths and blanks to fill.
    words = [word for word in re.split("[\0-\x1f]+", data.decode("utf-16-le")) if len(word) > 1]
    texts = dict(zip(words, words[1:]))
    for key, value in {"FileVersion": version, "ProductVersion": version, "OriginalFilename": name,
                       "ProductName": "Tessaron TCP/IP Port monitor"}.items():
        yield key, value, texts.get(key)
    yield "FileDescription", True, "Tessaron" in texts.get("FileDescription", "")


def symbol_checks(path):
    pdb = os.path.splitext(path)[0] + ".pdb"
    debug = output_of("llvm-readobj", "--coff-debug-directory", path)
    yield "name of the symbols' file, without a folder", [os.path.basename(pdb)], re.findall(r"PDBFileName: (.*)", debug)
    identity = re.search(r"PDBGUID: [({]([0-9A-F -]+)[)}]", debug)[1]
    if " " in identity:  # up to version 18 its bytes are printed
        data = bytes.fromhex(identity)
        identity = "%08X-%04X-%04X-" % struct.unpack("<IHH", data[:8]) + data[8:10].hex() + "-" + data[10:].hex()
    summary = output_of("llvm-pdbutil", "dump", "--summary", pdb)
    yield "identity of the symbols", identity.upper(), re.search(r"GUID: \{(.*)\}", summary)[1].upper()

    symbols = output_of("llvm-pdbutil", "dump", "--symbols", "-l", pdb)
    for function, source in BINARIES[os.path.basename(path)]["functions"].items():
        yield f"symbol {function}", True, f"`{function}`\n" in symbols
        yield f"source of {function}", True, f"\nC:\\tsprintportmon\\{source} (MD5" in symbols
    folder = os.path.dirname(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(path)))))
    for file in path, pdb:
        with open(file, "rb") as data:
            yield f"paths of this machine in {os.path.basename(file)}", False, folder.encode() in data.read()


def checks(path, version):
    yield from image_checks(path)
    yield from resource_checks(path, version)
    yield from symbol_checks(path)


if __name__ == "__main__":
    sys.exit(report(checks(*sys.argv[1:-1])))
