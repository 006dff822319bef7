"""What an image is made of, as SPDX 2.3 in JSON, from what dpkg says of it."""
import hashlib
import re
import time

DOCUMENT = "SPDXRef-DOCUMENT"


def packages_of(status):
    """The installed packages of a dpkg status file, as dictionaries, by name."""
    packages = []
    for paragraph in status.strip().split("\n\n"):
        fields = {}
        for line in paragraph.splitlines():
            if line[:1].isspace():
                continue  # of a longer field, none of which is needed
            key, _, value = line.partition(": ")
            fields[key] = value
        if fields.get("Status", "").endswith(" installed"):
            packages.append(fields)
    return sorted(packages, key=lambda one: (one["Package"], one["Architecture"]))


def built_in(packages):
    """The source packages of which parts are in the programs of others, which the field Built-Using
    names: as packages, with `In`, the one they are in."""
    return [{"Package": name, "Architecture": "source", "Version": version,
             "Maintainer": "Debian", "In": package}
            for package in packages
            for name, version in re.findall(r"(\S+) \(= ([^)]+)\)", package.get("Built-Using", ""))]


def identifier(package):
    name = f"{package['Package']}-{package['Architecture']}"
    return "SPDXRef-" + "".join(c if c.isalnum() or c in "-." else "-" for c in name)


def source_of(package):
    """The name and the version of the source package."""
    name, _, version = package.get("Source", package["Package"]).partition(" ")
    return name, version.strip("()") or package["Version"]


def purl(package):
    version = package["Version"].replace(":", "%3A").replace("+", "%2B").replace("~", "%7E")
    return (f"pkg:deb/debian/{package['Package'].replace('+', '%2B')}@{version}"
            f"?arch={package['Architecture']}&distro=debian-12")


def describe(package, copyright_text):
    name, version = source_of(package)
    return {
        "SPDXID": identifier(package),
        "name": package["Package"],
        "versionInfo": package["Version"],
        "supplier": f"Organization: {package['Maintainer']}",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": "NOASSERTION",
        "licenseDeclared": "NOASSERTION",
        "licenseComments": f"/usr/share/doc/{package.get('In', package)['Package']}/copyright, "
                           "whose SHA-256 is " + hashlib.sha256(copyright_text).hexdigest(),
        "copyrightText": "NOASSERTION",
        "sourceInfo": f"built from {name} {version}",
        "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                          "referenceLocator": purl(package)}],
    }


def spdx(name, packages, copyright_of, made_at):
    """`copyright_of` gives the licence text of a package, by its name."""
    inner = built_in(packages)
    described = [describe(one, copyright_of(one.get("In", one)["Package"]))
                 for one in [*packages, *inner]]
    digest = hashlib.sha256(repr(described).encode()).hexdigest()
    return {
        "spdxVersion": "SPDX-2.3",
        "dataLicense": "CC0-1.0",
        "SPDXID": DOCUMENT,
        "name": name,
        "documentNamespace": f"https://receiverhost.example/spdx/{name}-{digest}",
        "creationInfo": {"created": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(made_at)),
                         "creators": ["Tool: scripts/image"]},
        "packages": described,
        "relationships": [{"spdxElementId": DOCUMENT, "relationshipType": "DESCRIBES",
                           "relatedSpdxElement": one["SPDXID"]} for one in described] +
                         [{"spdxElementId": identifier(one), "relationshipType": "STATIC_LINK",
                           "relatedSpdxElement": identifier(one["In"])} for one in inner],
    }
