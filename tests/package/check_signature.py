#!/usr/bin/env python3
"""Signs the packages with a certificate made for it, and looks at every signature: check_signature.py BUILD_DIR VERSION"""
import os
import subprocess
import sys
import tempfile
import zipfile

sys.dont_write_bytecode = True
from checks import report  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def run(*command, **how):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **how)


def checks(build, version, folder):
    os.chdir(folder)
    run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=packages of the test", "-addext",
        "extendedKeyUsage=codeSigning", "-keyout", "key.pem", "-out", "certificate.pem", check=True)
    run("openssl", "pkcs12", "-export", "-in", "certificate.pem", "-inkey", "key.pem", "-passout", "pass:secret",
        "-out", "certificate.p12", check=True)
    with open("password", "w", encoding="ascii") as file:
        file.write("secret")
    package = os.path.join(ROOT, "packaging/package.sh")
    signing = {"SIGN_PKCS12": f"{folder}/certificate.p12", "SIGN_PASSWORD_FILE": f"{folder}/password"}
    plain = {name: value for name, value in os.environ.items() if not name.startswith("SIGN_")}
    yield "words without a certificate", "unsigned", run(
        package, build, version, "plain", check=True, env=plain).stdout.splitlines()[-1]
    run(package, build, version, "signed", check=True, env={**plain, **signing})
    for kind in "plain", "signed":
        with zipfile.ZipFile(f"{kind}/tsprintportmon-{version}-win-x64.zip") as archive:
            archive.extractall(kind)
    yield "sums of the signed files", 0, run("sha256sum", "--check", "--quiet", "SHA256SUMS", cwd="signed").returncode
    for name in "tsprintportmon.dll", "tsprintportmonui.dll", "tsport/tsport.exe", f"tsprintportmon-{version}-x64.msi":
        yield f"signature of {name}", 0, run("osslsigncode", "verify", "-CAfile", "certificate.pem", "-in",
                                             f"signed/{name}").returncode
        yield f"{name} without a certificate", True, run("osslsigncode", "verify", "-CAfile", "certificate.pem", "-in",
                                                         f"plain/{name}").returncode != 0
    with open("password", "w", encoding="ascii") as file:
        file.write("wrong")
    yield "a wrong password fails", True, run(package, build, version, "wrong", env={**plain, **signing}).returncode != 0


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as temporary:
        sys.exit(report(checks(os.path.abspath(sys.argv[1]), sys.argv[2], temporary)))
