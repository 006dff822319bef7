"""kubernetes_objects.py FILE...: whether the objects in these files are what the Kubernetes API takes.

Against the types of Debian's python3-kubernetes, which are made from the API's own schema: no key
that it does not know, none missing that it requires, each value of its type. Prints what is wrong,
and ends with exit code 1 then.
"""
import re
import sys

import kubernetes.client
import yaml

# What is younger than Debian's types, with the release of Kubernetes that has brought it.
YOUNGER = {
    "V1CronJobSpec": {"timeZone": "str"},  # 1.24
    "V1JobSpec": {"podFailurePolicy": {"rules": "list"}},  # 1.25
}
PLAIN = {"str": str, "int": int, "bool": bool, "float": (int, float)}
NAME = re.compile(r"[a-z0-9]([-a-z0-9]*[a-z0-9])?")
LABEL = re.compile(r"([A-Za-z0-9]([-A-Za-z0-9_.]{0,61}[A-Za-z0-9])?)?")
QUANTITY = re.compile(r"[0-9]+(\.[0-9]+)?(m|[kMGTPE]i?|Ki)?")


class Check:
    def __init__(self):
        self.faults = []

    def fault(self, place, text):
        self.faults.append(f"{place}: {text}")

    def value(self, value, of, place):
        if found := re.fullmatch(r"list\[(.*)\]", of):
            if not isinstance(value, list):
                return self.fault(place, "is no list")
            for index, one in enumerate(value):
                self.value(one, found[1], f"{place}[{index}]")
        elif found := re.fullmatch(r"dict\(str, (.*)\)", of):
            if not isinstance(value, dict):
                return self.fault(place, "is no map")
            for key, one in value.items():
                self.value(one, found[1], f"{place}.{key}")
        elif of in PLAIN:
            if not isinstance(value, PLAIN[of]) or (isinstance(value, bool) and of != "bool"):
                self.fault(place, f"{value!r} is no {of}")
        elif of not in ("object", "datetime"):
            self.model(value, of, place)

    def model(self, value, of, place):
        if not isinstance(value, dict):
            return self.fault(place, f"is no {of}")
        model = getattr(kubernetes.client, of)
        types = {key: model.openapi_types[name] for name, key in model.attribute_map.items()}
        younger = YOUNGER.get(of, {})
        for key, one in value.items():
            if key in types:
                self.value(one, types[key], f"{place}.{key}")
            elif key not in younger:
                self.fault(f"{place}.{key}", f"{of} has no such key")
            elif isinstance(younger[key], str):
                self.value(one, younger[key], f"{place}.{key}")
            elif set(one) != set(younger[key]) or not isinstance(one["rules"], list):
                self.fault(f"{place}.{key}", "is not made of rules")
        try:  # it is the constructor that knows what is required
            model(**{name: value.get(key) for name, key in model.attribute_map.items()})
        except ValueError as error:
            self.fault(place, str(error))
        self.texts(value, of, place)

    # What the schema leaves to the server to refuse.
    def texts(self, value, of, place):
        if of == "V1ObjectMeta":
            name = value.get("name", "x")
            # A CronJob's jobs add eleven characters.
            if not NAME.fullmatch(str(name)) or len(str(name)) > 52:
                self.fault(place, f"{name!r} is no name")
            for label in value.get("labels", {}).values():
                if not LABEL.fullmatch(str(label)):
                    self.fault(place, f"{label!r} is no label")
        if of == "V1ResourceRequirements":
            for one in (quantity for kind in value.values() for quantity in kind.values()):
                if not QUANTITY.fullmatch(str(one)):
                    self.fault(place, f"{one!r} is no quantity")


def main(files):
    check = Check()
    kinds = {("batch/v1", "CronJob"): "V1CronJob"}
    for file in files:
        with open(file, encoding="utf-8") as stream:
            for document in yaml.safe_load_all(stream):
                kind = kinds.get((document.get("apiVersion"), document.get("kind")))
                if kind:
                    check.model(document, kind, file)
                else:
                    check.fault(file, "is of no known kind")
    print("\n".join(check.faults))
    return 1 if check.faults or not files else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
