#!/usr/bin/env python3
"""Looks at a finished library as Windows will: check_dll.py PATH --version 1.0.0"""
import argparse
import os
import struct
import sys

ENGLISH = 1033
RT_DIALOG, RT_STRING, RT_VERSION, RT_MANIFEST = 5, 6, 16, 24
EXPORT, IMPORT, RESOURCE, RELOCATION, DEBUG, DELAY_IMPORT = 0, 1, 2, 5, 6, 13  # data directories
WINDOWS_LIBRARIES = {"kernel32.dll", "msvcrt.dll", "user32.dll", "advapi32.dll", "ws2_32.dll", "spoolss.dll",
                     "winspool.drv"}
# By file name: the export; strings, dialogs and manifests; and the only functions of the spooler's libraries.
LIBRARIES = {
    "tsprintportmon.dll": {
        "export": "InitializePrintMonitor2",
        "strings": {500: "Tessaron TCP/IP Port", 507: "Tessaron TCP/IP Port"},
        "dialogs": [],
        "manifests": [],
        # EnumPortsW is not among them: it is looked up at run time.
        "winspool.drv": {"OpenPrinterW", "ClosePrinter", "GetJobW", "SetJobW", "GetPrinterW", "SetPrinterW"},
        "spoolss.dll": {"RevertToPrinterSelf", "ImpersonatePrinterClient"},
    },
    "tsprintportmonui.dll": {
        "export": "InitializePrintMonitorUI",
        "strings": {100: "Add Tessaron TCP/IP Port", 106: "this computer"},
        "dialogs": [(100, ENGLISH), (101, ENGLISH), (102, ENGLISH)],
        "manifests": [2],
        "winspool.drv": {"OpenPrinterW", "ClosePrinter", "XcvDataW", "EnumPrintersW"},
        "spoolss.dll": set(),
    },
}
CHARACTERISTICS = {"DLL": 0x2000, "EXECUTABLE_IMAGE": 0x0002}
DLL_CHARACTERISTICS = {"HIGH_ENTROPY_VA": 0x0020, "DYNAMIC_BASE": 0x0040, "NX_COMPAT": 0x0100}
WRITE_AND_EXECUTE = 0xA0000000


class Image:
    """A PE32+ file; addresses are relative to the image's base, as the tables in the file have them."""

    def __init__(self, data):
        self.data = data
        header = self.at("<I", 0x3C)[0]
        if data[:2] != b"MZ" or data[header:header + 4] != b"PE\0\0":
            raise ValueError("not a PE file")
        (self.machine, count, self.time, symbols, self.symbol_count, optional_size,
         self.characteristics) = self.at("<HHIIIHH", header + 4)
        optional = header + 24
        if self.at("<H", optional)[0] != 0x20B:
            raise ValueError("not a 64-bit image")
        self.dll_characteristics = self.at("<H", optional + 70)[0]
        directories = self.at("<I", optional + 108)[0]
        self.directories = [self.at("<II", optional + 112 + 8 * i) for i in range(directories)]
        long_names = symbols + 18 * self.symbol_count
        self.sections = {}
        for i in range(count):
            entry = optional + optional_size + 40 * i
            name = data[entry:entry + 8].rstrip(b"\0").decode()
            size, address, raw_size, raw = self.at("<IIII", entry + 8)
            if name.startswith("/"):
                name = self.text(long_names + int(name[1:]))
            self.sections[name] = (address, max(size, raw_size), raw, self.at("<I", entry + 36)[0])

    def at(self, layout, offset):
        return struct.unpack_from(layout, self.data, offset)

    def text(self, offset):
        return self.data[offset:self.data.index(b"\0", offset)].decode()

    def offset(self, address):
        for start, size, raw, _ in self.sections.values():
            if start <= address < start + size:
                return address - start + raw
        raise ValueError(f"address {address:#x} lies in no section")

    def exports(self):
        if not self.directories[EXPORT][0]:
            return []
        table = self.offset(self.directories[EXPORT][0])
        functions, names, _, name_table = self.at("<IIII", table + 20)
        found = [self.text(self.offset(self.at("<I", self.offset(name_table) + 4 * i)[0])) for i in range(names)]
        return found + ["(without a name)"] * (functions - names)

    def imports(self):
        """Library, in lower case, to the names of its functions."""
        found = {}
        entry = self.offset(self.directories[IMPORT][0])
        while True:
            lookup, _, _, name, addresses = self.at("<IIIII", entry)
            if name == 0:
                return found
            functions = found.setdefault(self.text(self.offset(name)).lower(), set())
            slot = self.offset(lookup or addresses)
            while value := self.at("<Q", slot)[0]:
                by_number = value >> 63
                functions.add(f"#{value & 0xFFFF}" if by_number else self.text(self.offset(value) + 2))
                slot += 8
            entry += 20

    def resources(self):
        """(type, number, language) to the bytes of the resource."""
        if not self.directories[RESOURCE][0]:
            return {}
        root = self.offset(self.directories[RESOURCE][0])

        def walk(node, path):
            named, numbered = self.at("<HH", root + node + 12)
            for i in range(named + numbered):
                identifier, child = self.at("<II", root + node + 16 + 8 * i)
                if child >> 31:
                    yield from walk(child & 0x7FFFFFFF, path + (identifier,))
                else:
                    address, size = self.at("<II", root + child)
                    start = self.offset(address)
                    yield path + (identifier,), self.data[start:start + size]

        return dict(walk(0, ()))


def string_resource(resources, number):
    """The texts of a string by language; sixteen strings make one resource."""
    found = {}
    for (kind, block, language), data in resources.items():
        if (kind, block) != (RT_STRING, number // 16 + 1):
            continue
        position = 0
        for _ in range(number % 16):
            position += 2 + 2 * struct.unpack_from("<H", data, position)[0]
        length = 2 * struct.unpack_from("<H", data, position)[0]
        if length:
            found[language] = data[position + 2:position + 2 + length].decode("utf-16-le")
    return found


def version_texts(data, start=0):
    """All texts of a version resource by name, and its fixed part as bytes under the name ""."""
    length, value_length, is_text = struct.unpack_from("<HHH", data, start)
    end = start + length
    position = start + 6
    while data[position:position + 2] != b"\0\0":
        position += 2
    key = data[start + 6:position].decode("utf-16-le")
    position = (position + 2 + 3) & ~3
    value = data[position:position + value_length * (2 if is_text else 1)]
    found = {}
    if key == "VS_VERSION_INFO":
        found[""] = value
    elif is_text and value:
        found[key] = value.decode("utf-16-le").rstrip("\0")
    position = (position + len(value) + 3) & ~3
    while position < end:
        found.update(version_texts(data, position))
        position = (position + struct.unpack_from("<H", data, position)[0] + 3) & ~3
    return found


def checks(file_name, image, version):
    """Every check as (what is asked, what must be there, what is there)."""
    library = LIBRARIES[file_name]
    yield "machine", 0x8664, image.machine
    for name, bit in CHARACTERISTICS.items():
        yield f"{name} flag", True, bool(image.characteristics & bit)
    for name, bit in DLL_CHARACTERISTICS.items():
        yield f"{name} flag", True, bool(image.dll_characteristics & bit)
    yield "relocations, without which the flags for random addresses are void", (True, True), (
        ".reloc" in image.sections, image.directories[RELOCATION][1] > 0)
    yield "sections that can be written and executed", [], [
        name for name, section in image.sections.items() if section[3] & WRITE_AND_EXECUTE == WRITE_AND_EXECUTE]

    yield "exports", [library["export"]], image.exports()
    imports = image.imports()
    yield "imports from libraries that are not Windows' own", [], sorted(set(imports) - WINDOWS_LIBRARIES)
    yield "imports from spoolss.dll", sorted(library["spoolss.dll"]), sorted(
        imports.get("spoolss.dll", set()))
    spooler = imports.get("winspool.drv", set())
    yield "imports from winspool.drv that do not belong there", [], sorted(spooler - library["winspool.drv"])
    yield "OpenPrinterW from winspool.drv", True, "OpenPrinterW" in spooler
    yield "delayed imports", 0, image.directories[DELAY_IMPORT][0]

    resources = image.resources()
    for number, text in library["strings"].items():
        yield f"string {number} by language", {ENGLISH: text}, string_resource(resources, number)
    yield "dialogs", library["dialogs"], sorted(key[1:] for key in resources if key[0] == RT_DIALOG)
    yield "manifests", library["manifests"], [key[1] for key in resources if key[0] == RT_MANIFEST]
    data = resources.get((RT_VERSION, 1, ENGLISH))
    yield "version resource", True, data is not None
    if data is not None:
        texts = version_texts(data)
        numbers = [int(part) for part in version.split(".")] + [0] * 4
        expected = (0xFEEF04BD, (numbers[0] << 16) + numbers[1], (numbers[2] << 16) + numbers[3])
        signature, _, *parts = struct.unpack_from("<IIIIII", texts[""])
        yield "file version in numbers", expected, (signature, *parts[:2])
        yield "product version in numbers", expected[1:], tuple(parts[2:])
        yield "file type of the version resource", 2, struct.unpack_from("<I", texts[""], 36)[0]
        for name, text in {"FileVersion": version, "ProductVersion": version,
                           "ProductName": "Tessaron TCP/IP Port monitor",
                           "OriginalFilename": file_name}.items():
            yield name, text, texts.get(name)
        yield "FileDescription", True, bool(texts.get("FileDescription"))

    yield "debug sections", [], [name for name in image.sections if name.startswith((".debug", ".zdebug", ".stab"))]
    yield "symbols", 0, image.symbol_count
    yield "link to the symbols' own file", True, ".gnu_debuglink" in image.sections
    yield "debug directory", (0, 0), image.directories[DEBUG]
    yield "time in the header, which must not be that of the build", 0, image.time


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("path")
    parser.add_argument("--version", required=True)
    arguments = parser.parse_args()
    passed = failed = 0
    try:
        with open(arguments.path, "rb") as file:
            image = Image(file.read())
        for what, expected, found in checks(os.path.basename(arguments.path), image, arguments.version):
            if expected == found:
                passed += 1
            else:
                failed += 1
                print(f"FAILED {what}: expected {expected!r}, found {found!r}")
    except (OSError, ValueError, LookupError, struct.error) as error:
        failed += 1
        print(f"FAILED {arguments.path}: {error}")
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
