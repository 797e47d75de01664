#!/usr/bin/python3
"""Looks at a finished library or program as Windows and its debuggers will: check_binary.py PATH VERSION LLVM_VERSION"""
import os
import re
import subprocess
import sys
import uuid

import pefile

sys.dont_write_bytecode = True
from checks import ROOT, report  # noqa: E402

ENGLISH = 1033
DIALOG, STRING_TABLE, MANIFEST = 5, 6, 24
WINDOWS_LIBRARIES = {"kernel32.dll", "msvcrt.dll", "user32.dll", "advapi32.dll", "shell32.dll", "ws2_32.dll", "spoolss.dll",
                     "wevtapi.dll", "winspool.drv"}
FLAGS = {"DYNAMIC_BASE", "HIGH_ENTROPY_VA", "NX_COMPAT"}
# By file name: the exports, some strings, the dialogs and manifests; the only functions of the spooler's libraries; and
# functions with the source file that the symbols must name.
BINARIES = {
    "tsprintportmon.dll": {
        "exports": ["InitializePrintMonitor2"],
        "strings": ["Tessaron TCP/IP Port"],
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
    "tsport.exe": {"functions": {"main": "tsport\\main.cpp"}},
}


def image_checks(image, expected, is_library):
    """Every check as (what is asked, what must be there, what is there)."""
    yield "64-bit image for x64", (0x8664, 0x20B), (image.FILE_HEADER.Machine, image.PE_TYPE)
    yield "library", is_library, image.is_dll()
    yield "flags that are missing", [], [
        flag for flag in FLAGS if not getattr(image.OPTIONAL_HEADER, f"IMAGE_DLLCHARACTERISTICS_{flag}")]
    yield "relocations, without which random addresses are void", True, hasattr(image, "DIRECTORY_ENTRY_BASERELOC")
    yield "sections that can be written and executed", [], [
        section.Name for section in image.sections if section.IMAGE_SCN_MEM_WRITE and section.IMAGE_SCN_MEM_EXECUTE]
    yield "symbols in the image", [], [
        section.Name for section in image.sections if section.Name.startswith((b".debug", b".stab", b".gnu_debug", b"/"))]
    yield "time in the header, which must not be that of the build", 0, image.FILE_HEADER.TimeDateStamp
    exports = getattr(image, "DIRECTORY_ENTRY_EXPORT", None)
    yield "exports", expected.get("exports", []), [symbol.name.decode() for symbol in exports.symbols] if exports else []
    imports = {library.dll.decode().lower(): {function.name.decode() for function in library.imports if function.name}
               for library in image.DIRECTORY_ENTRY_IMPORT}
    yield "imports from libraries that are not Windows' own", set(), set(imports) - WINDOWS_LIBRARIES
    yield "delayed imports", False, hasattr(image, "DIRECTORY_ENTRY_DELAY_IMPORT")
    for library in {"winspool.drv", "spoolss.dll"} & set(expected):
        functions = imports.get(library, set())
        yield f"imports from {library} that do not belong there", set(), functions - expected[library]
        yield f"imports from {library} at all", bool(expected[library]), bool(functions)


def resource_checks(image, expected, name, version):
    kinds = {kind.id: kind.directory.entries for kind in image.DIRECTORY_ENTRY_RESOURCE.entries}
    yield "languages", {ENGLISH}, {language.id for kind in set(kinds) - {MANIFEST} for entry in kinds[kind]
                                   for language in entry.directory.entries}
    strings = [text for block in kinds.get(STRING_TABLE, []) for text in block.directory.strings.values()]
    yield "missing strings", [], [
        text for text in expected.get("strings", []) if not any(text in string for string in strings)]
    for kind, what in (DIALOG, "dialogs"), (MANIFEST, "manifests"):
        yield what, expected.get(what, []), [entry.id for entry in kinds.get(kind, [])]
    fixed = image.VS_FIXEDFILEINFO[0]
    major, minor, patch = (int(part) for part in version.split("."))
    yield "version in numbers", 2 * [(major << 16) + minor, patch << 16], [
        fixed.FileVersionMS, fixed.FileVersionLS, fixed.ProductVersionMS, fixed.ProductVersionLS]
    yield "file type", 2 if image.is_dll() else 1, fixed.FileType
    texts = next(block for block in image.FileInfo[0] if hasattr(block, "StringTable")).StringTable[0].entries
    for key, value in {"FileVersion": version, "ProductVersion": version, "OriginalFilename": name,
                       "ProductName": "Tessaron TCP/IP Port monitor"}.items():
        yield key, value, texts[key.encode()].decode()
    yield "FileDescription", True, b"Tessaron" in texts[b"FileDescription"]


def symbol_checks(image, expected, path, tool):
    def dumped(*what):
        return subprocess.run([tool, "dump", *what, pdb], check=True, stdout=subprocess.PIPE).stdout.decode()

    pdb = os.path.splitext(path)[0] + ".pdb"
    debug = image.DIRECTORY_ENTRY_DEBUG[0]
    name = debug.entry.PdbFileName.decode().rstrip("\0")
    yield "name of the symbols' file, without a folder", os.path.basename(pdb), name
    identity = uuid.UUID(bytes_le=image.get_data(debug.struct.AddressOfRawData + 4, 16))
    yield "identity of the symbols", str(identity).upper(), re.search(r"GUID: \{(.*)\}", dumped("--summary"))[1].upper()
    symbols = dumped("--symbols", "-l")
    for function, source in expected["functions"].items():
        yield f"symbol {function}", True, f"`{function}`\n" in symbols
        yield f"source of {function}", True, f"\nC:\\tsprintportmon\\{source} (MD5" in symbols
    for file in path, pdb:
        with open(file, "rb") as data:
            yield f"paths of this machine in {os.path.basename(file)}", False, bytes(ROOT) in data.read()


def checks(path, version, llvm_version):
    name = os.path.basename(path)
    image = pefile.PE(path)
    yield from image_checks(image, BINARIES[name], name.endswith(".dll"))
    yield from resource_checks(image, BINARIES[name], name, version)
    yield from symbol_checks(image, BINARIES[name], path, f"llvm-pdbutil-{llvm_version}")


if __name__ == "__main__":
    sys.exit(report(checks(*sys.argv[1:])))
