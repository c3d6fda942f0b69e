#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Lists the contents of the Debian packages as SPDX 2.3: each package, the Debian libraries that its files are linked
with, and those whose headers are compiled in, with the versions of this machine.

    make_sbom.py --version 1.0.0-1 --output norvane.spdx.json PACKAGE=FILE[,FILE...] ... [--deb FILE ...]
    make_sbom.py --check norvane.spdx.json

--deb: the packages; their checksums are included. The time in the document is SOURCE_DATE_EPOCH, or 0. --check names
what SPDX requires and the document lacks, and Debian packages that one of the --deb depends on and the document does
not name."""
import argparse
import datetime
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import urllib.parse
import uuid

HEADERS_ONLY = {"norvane": ["libcli11-dev", "nlohmann-json3-dev"],
                "python3-norvane": ["libcli11-dev", "nlohmann-json3-dev", "pybind11-dev"]}
OWN = {"licenseConcluded": "Apache-2.0", "licenseDeclared": "Apache-2.0", "downloadLocation": "NOASSERTION",
       "copyrightText": "Copyright 2026 Norvane developers", "supplier": "Organization: Norvane developers",
       "filesAnalyzed": False}


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True, env={**os.environ, "LC_ALL": "C"}).stdout


def identifier(name):
    return "SPDXRef-" + re.sub(r"[^a-zA-Z0-9.-]", "-", name)


def package_of(library):
    """The Debian package that holds a file. The package may list it without the /usr to which /lib leads."""
    real = os.path.realpath(library)
    for name in (real, real.removeprefix("/usr")):
        found = subprocess.run(["dpkg-query", "--search", name], capture_output=True, text=True, check=False)
        if found.returncode == 0:
            return found.stdout.split(":")[0]
    raise SystemExit(f"make_sbom.py: no package holds {library}")


def linked_with(file):
    """The packages of the libraries that a file names itself; that of this project is named after the library."""
    wanted = re.findall(r"\(NEEDED\).*\[(.*)\]", output_of("readelf", "-Wd", file))
    places = dict(re.findall(r"(\S+) => (/\S+)", output_of("ldd", file)))
    own = {name.replace(".so.", "") for name in wanted if name.startswith("libnorvane.so.")}
    return own | {package_of(places[name]) for name in wanted if name in places and name.replace(".so.", "") not in own}


def debian_package(name):
    form = "${Version}\t${Architecture}\t${source:Package}\t${source:Version}\n"
    version, architecture, source, source_version = (
        output_of("dpkg-query", "--show", f"--showformat={form}", name).splitlines()[0].split("\t"))
    system = dict(re.findall(r'^(\w+)="?([^"\n]*)', pathlib.Path("/etc/os-release").read_text(), re.MULTILINE))
    place = urllib.parse.quote(f"{name}@{version}", safe="@:")
    purl = f"pkg:deb/{system['ID']}/{place}?arch={architecture}&distro={system['ID']}-{system['VERSION_ID']}"
    return {"SPDXID": identifier(name), "name": name, "versionInfo": version, "downloadLocation": "NOASSERTION",
            "filesAnalyzed": False, "sourceInfo": f"Debian source package {source} {source_version}",
            "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                              "referenceLocator": purl}]}


def own_package(name, version, debs):
    package = {"SPDXID": identifier(name), "name": name, "versionInfo": version, **OWN}
    for deb in debs:
        if deb.name.startswith(f"{name}_"):
            package["packageFileName"] = deb.name
            digest = hashlib.sha256(deb.read_bytes()).hexdigest()
            package["checksums"] = [{"algorithm": "SHA256", "checksumValue": digest}]
    return package


def document_of(given):
    def relation(name, kind, other):
        return {"spdxElementId": identifier(name), "relationshipType": kind, "relatedSpdxElement": identifier(other)}

    packages, relations, others = [], [], set()
    for name, files in sorted(part.split("=", 1) for part in given.packages):
        packages.append(own_package(name, given.version, given.deb))
        relations.append(relation("DOCUMENT", "DESCRIBES", name))
        linked = {one for file in files.split(",") if file for one in linked_with(file)}
        relations += [relation(name, "DYNAMIC_LINK", other) for other in sorted(linked)]
        relations += [relation(name, "STATIC_LINK", other) for other in HEADERS_ONLY.get(name, ())]
        others.update(linked, HEADERS_ONLY.get(name, ()))
    packages += [debian_package(name) for name in sorted(others - {one["name"] for one in packages})]
    content = json.dumps([packages, relations], sort_keys=True)
    created = datetime.datetime.fromtimestamp(int(os.environ.get("SOURCE_DATE_EPOCH", 0)), datetime.timezone.utc)
    return {"spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
            "name": f"norvane-{given.version}",
            "documentNamespace": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, content)}",  # the same for the same content
            "creationInfo": {"created": f"{created:%Y-%m-%dT%H:%M:%SZ}", "creators": ["Tool: make_sbom.py"]},
            "packages": packages, "relationships": relations}


def faults_of(document, debs):
    forms = {"spdxVersion": r"SPDX-2\.3", "dataLicense": r"CC0-1\.0", "SPDXID": "SPDXRef-DOCUMENT", "name": ".+",
             "documentNamespace": r"[a-z]+:[^#\s]+"}
    faults = [name for name, form in forms.items() if not re.fullmatch(form, str(document.get(name, "")))]
    made = document.get("creationInfo", {})
    if not re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", made.get("created", "")) or not made.get("creators"):
        faults.append("creationInfo")
    packages = document.get("packages", [])
    known = [one.get("SPDXID") for one in packages] + ["SPDXRef-DOCUMENT"]
    faults += [f"{one}: named twice" for one in set(known) if known.count(one) > 1]
    for one in packages:
        is_good = re.fullmatch(r"SPDXRef-[a-zA-Z0-9.-]+", one.get("SPDXID", ""))
        faults += [] if is_good and one.get("name") and one.get("downloadLocation") else [f"package {one}"]
    for one in document.get("relationships", []):
        faults += [f"unknown {end}" for end in (one["spdxElementId"], one["relatedSpdxElement"]) if end not in known]
    if not any(one["relationshipType"] == "DESCRIBES" for one in document.get("relationships", [])):
        faults.append("it describes nothing")
    names = {one.get("name") for one in packages}
    for deb in debs:
        digest = hashlib.sha256(deb.read_bytes()).hexdigest()
        sums = [sum["checksumValue"] for one in packages for sum in one.get("checksums", ())]
        faults += [] if digest in sums else [f"no checksum of {deb.name}"]
        # The dependencies on the interpreter and NumPy are those of a script; nothing is linked with them.
        depends = re.findall(r"(?:^|, )([^ ,|]+)", output_of("dpkg-deb", "--field", deb, "Depends").strip())
        faults += [f"{deb.name}: {one}" for one in depends if one not in names and not one.startswith("python3")]
    return faults


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", type=pathlib.Path)
    parser.add_argument("--version")
    parser.add_argument("--output", type=pathlib.Path)
    parser.add_argument("--deb", type=pathlib.Path, nargs="*", default=[])
    parser.add_argument("packages", nargs="*")
    given = parser.parse_args()
    if given.check is None:
        given.output.write_text(json.dumps(document_of(given), indent=1) + "\n")
        return 0
    faults = faults_of(json.loads(given.check.read_text()), given.deb)
    print("\n".join(f"make_sbom.py: {given.check}: {fault}" for fault in faults) or "SBOM: nothing is missing")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
