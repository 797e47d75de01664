"""What is inside the shipped binaries beside our own code: an SPDX document, and the libraries' notices. The symbols of
each binary name the files that it was linked from; Debian's packages have the versions and the terms."""
import hashlib
import json
import pathlib
import re
import subprocess
import time
import uuid

ROOT = pathlib.Path(__file__).resolve().parents[1]
# A library by the pattern of a path: its name and its licence.
LIBRARIES = [
    (r"/libstdc\+\+\.a$", "libstdc++", "GPL-3.0-or-later WITH GCC-exception-3.1"),
    (r"/lib/gcc/.*/(libgcc(_eh)?\.a|crt\w+\.o)$", "libgcc", "GPL-3.0-or-later WITH GCC-exception-3.1"),
    (r"/lib(win)?pthread\.a$", "winpthreads", "MIT AND BSD-3-Clause"),
    (r"/x86_64-w64-mingw32/lib/", "mingw-w64 runtime", "ZPL-2.1"),
    (r"^/usr/include/rapidjson/", "RapidJSON", "MIT"),
]


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def linked_files(pdb):
    """Paths of this machine that a binary is made of."""
    tool = f"llvm-pdbutil-{output_of(ROOT / 'cmake/llvm_version.sh', 'installed').strip()}"
    yield from re.findall(r"Obj: `(/.*)`", output_of(tool, "dump", "--modules", pdb))
    headers = re.findall(r"\\rapidjson\\rapidjson\\(\w+\.h)", output_of(tool, "dump", "--files", pdb))
    yield from {f"/usr/include/rapidjson/{name}" for name in headers}


def libraries_of(pdb):
    """Name to licence, package of Debian and version."""
    found = {}
    for path in sorted(set(linked_files(pdb))):
        name, licence = next((known[1:] for known in LIBRARIES if re.search(known[0], path)), (None, None))
        if name is None:
            raise ValueError(f"{pdb} was linked from {path}, of which nothing is known here")
        if name not in found:
            package = output_of("dpkg-query", "-S", path).split(":")[0]
            found[name] = licence, package, output_of("dpkg-query", "-W", "-f", "${Version}", package)
    return found


def spdx_document(binaries, version, seconds):
    """The text of an SPDX document, and of the notices; `binaries` is pairs of a file and its symbols."""
    def package(name, number, licence, **more):
        return {"SPDXID": "SPDXRef-" + re.sub(r"[^A-Za-z0-9.]+", "-", name), "name": name, "versionInfo": number,
                "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseConcluded": licence,
                "licenseDeclared": licence, "copyrightText": "NOASSERTION", **more}

    product = package("tsprintportmon", version, "NOASSERTION", supplier="Organization: Tessaron")
    packages, files, notices = {}, [], {}
    relations = [("SPDXRef-DOCUMENT", "DESCRIBES", product["SPDXID"])]
    for binary, pdb in binaries:
        data = binary.read_bytes()
        files.append({
            "SPDXID": f"SPDXRef-{binary.name}", "fileName": f"./{binary.name}", "licenseConcluded": "NOASSERTION",
            "copyrightText": "NOASSERTION", "checksums": [
                {"algorithm": kind.upper(), "checksumValue": hashlib.new(kind, data).hexdigest()}
                for kind in ("sha1", "sha256")]})
        relations.append((product["SPDXID"], "CONTAINS", files[-1]["SPDXID"]))
        for name, (licence, debian, number) in libraries_of(pdb).items():
            comment = f"from Debian's package {debian}; its notices are in NOTICES.txt"
            packages[name] = package(name, number, licence, comment=comment)
            terms = pathlib.Path(f"/usr/share/doc/{debian}/copyright").read_text("utf-8")
            notices.setdefault(terms, {})[f"{name} {number}"] = True
            relations.append((files[-1]["SPDXID"], "STATIC_LINK", packages[name]["SPDXID"]))
    keys = "spdxElementId", "relationshipType", "relatedSpdxElement"
    relationships = [dict(zip(keys, relation)) for relation in relations]
    contents = {"packages": [product, *packages.values()], "files": files, "relationships": relationships}
    document = {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"tsprintportmon-{version}",
        "documentNamespace": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, json.dumps(contents))}",
        "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds)),
                         "creators": ["Organization: Tessaron", "Tool: packaging-contents"]}, **contents}
    return json.dumps(document, indent=1) + "\n", f"\n{'=' * 80}\n\n".join(
        ", ".join(names) + "\n\n" + terms for terms, names in notices.items())
