"""What the SDK says that the device has."""

import re

INSTALL_NAME = re.compile(r"^install-name: '(.*)'$", re.MULTILINE)
LISTS = re.compile(r"^\s+(symbols|objc-classes|objc-eh-types): \[(.*?)\]", re.MULTILINE | re.DOTALL)
PREFIXES = {"symbols": ("",), "objc-classes": ("_OBJC_CLASS_$_", "_OBJC_METACLASS_$_"),
            "objc-eh-types": ("_OBJC_EHTYPE_$_",)}


def read(sdk):
    """The symbols of each library, by its install name, from the text stubs below the folder `sdk`."""
    libraries = {}
    for path in sdk.rglob("*.tbd"):
        stub = path.read_text()
        libraries[INSTALL_NAME.search(stub).group(1)] = {
            prefix + name for kind, names in LISTS.findall(stub) for name in names.replace(",", " ").split()
            for prefix in PREFIXES[kind]}
    return libraries
