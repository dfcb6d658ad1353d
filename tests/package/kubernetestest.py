#!/usr/bin/env python3
"""Checks deploy/kubernetes.yaml without a cluster.

    kubernetestest.py MANIFEST HAPROXY_CFG            checks it
    kubernetestest.py MANIFEST --script CONTAINER WHAT
                            prints a shell script in it: its "command", or "preStop"

Each object is read into Kubernetes' own Python models (Debian: python3-kubernetes) and written out
again: a field that they do not know, or a value of another type, does not come back. Then what
refers to each other is compared.
"""

import copy
import json
import pathlib
import re
import sys

import yaml
from kubernetes import client


class Answer:
    """What the client library reads objects from."""

    def __init__(self, value: dict):
        self.data = json.dumps(value)


def model_name(value: dict) -> str:
    version = value["apiVersion"].rpartition("/")[2]
    return version[0].upper() + version[1:] + value["kind"]


def known_to_kubernetes(value: dict) -> bool:
    api = client.ApiClient()
    try:
        read = api.deserialize(Answer(value), model_name(value))
    except (AttributeError, ValueError, TypeError, client.rest.ApiException):
        return False
    return api.sanitize_for_serialization(read) == value


def strict_yaml(text: str) -> list:
    """The documents; a duplicate key is an error."""
    class Loader(yaml.SafeLoader):
        pass

    def mapping(loader, node):
        keys = [loader.construct_object(key) for key, _ in node.value]
        twice = {str(key) for key in keys if keys.count(key) > 1}
        if twice:
            raise yaml.YAMLError(f"{node.start_mark}: twice {twice}")
        return loader.construct_mapping(node, deep=True)

    Loader.add_constructor(yaml.resolver.BaseResolver.DEFAULT_MAPPING_TAG, mapping)
    return list(yaml.load_all(text, Loader))


# In the order they are read.
SETTINGS_PLACES = ["/var/lib/vondserver/.config/meridane/vondServer.conf",
                   "/var/lib/vondserver/.config/meridane.conf",
                   "/etc/xdg/meridane/vondServer.conf",
                   "/etc/xdg/meridane.conf"]


def can_write(container: dict, place: str) -> bool:
    """Whether a file can be created there, or a folder on the path to it replaced."""
    mounts = {pathlib.PurePosixPath(mount["mountPath"]): mount for mount in container["volumeMounts"]}
    around = [folder for folder in pathlib.PurePosixPath(place).parents if folder in mounts]
    if not around:
        return not container["securityContext"]["readOnlyRootFilesystem"]
    return any(not mounts[folder].get("readOnly", False) for folder in around)


class Check:
    def __init__(self, objects: list, configuration: str):
        self.objects = objects
        self.configuration = configuration
        self.made = 0
        self.broken = 0

    def holds(self, name: str, condition: bool) -> None:
        self.made += 1
        if not condition:
            self.broken += 1
            print("FAIL " + name)

    def one(self, kind: str, name: str) -> dict:
        found = [value for value in self.objects
                 if value["kind"] == kind and value["metadata"]["name"] == name]
        self.holds(f"one {kind} {name}", len(found) == 1)
        return found[0]

    def models(self) -> None:
        for value in self.objects:
            self.holds(f"{value['kind']} {value['metadata']['name']} is as Kubernetes has it",
                       known_to_kubernetes(value))

    def models_could_fail(self) -> None:
        good = next(value for value in self.objects if value["kind"] == "StatefulSet")
        for name, place, value in (("an unknown field", "replica", 3), ("a text", "replicas", "3"),
                                   ("a missing selector", "selector", None)):
            bad = copy.deepcopy(good)
            bad["spec"][place] = value
            self.holds(f"{name} is found", not known_to_kubernetes(bad))

    def pods(self) -> None:
        for value in self.objects:
            if value["kind"] not in ("StatefulSet", "Deployment"):
                continue
            name = value["metadata"]["name"]
            spec = value["spec"]
            pod = spec["template"]["spec"]
            self.holds(f"{name} selects its pods",
                       spec["selector"]["matchLabels"] == spec["template"]["metadata"]["labels"])
            self.holds(f"{name} is not root", pod["securityContext"]["runAsNonRoot"] is True)
            self.holds(f"{name} has no token", pod["automountServiceAccountToken"] is False)
            self.one("ServiceAccount", pod["serviceAccountName"])
            volumes = {volume["name"] for volume in pod["volumes"]} | {
                claim["metadata"]["name"] for claim in spec.get("volumeClaimTemplates", [])}
            for container in pod.get("initContainers", []) + pod["containers"]:
                mine = f"{name}/{container['name']}"
                self.holds(f"{mine} cannot write to its root and gains nothing",
                           container["securityContext"] == {
                               "allowPrivilegeEscalation": False, "readOnlyRootFilesystem": True,
                               "capabilities": {"drop": ["ALL"]}})
                self.holds(f"{mine} has resources", set(container["resources"]) == {
                    "requests", "limits"} and "memory" in container["resources"]["limits"])
                for mount in container.get("volumeMounts", []):
                    self.holds(f"{mine}: volume {mount['name']}", mount["name"] in volumes)
                ports = {port["name"] for port in container.get("ports", [])}
                for probe in ("startupProbe", "readinessProbe", "livenessProbe"):
                    for kind in ("httpGet", "tcpSocket"):
                        if kind in container.get(probe, {}):
                            self.holds(f"{mine}: port of {probe}",
                                       container[probe][kind]["port"] in ports)
        labels = [value["spec"]["template"]["metadata"]["labels"] for value in self.objects
                  if "template" in value.get("spec", {})]
        for kind, way in (("Service", ("selector",)), ("NetworkPolicy", ("podSelector", "matchLabels")),
                          ("PodDisruptionBudget", ("selector", "matchLabels"))):
            for value in self.objects:
                if value["kind"] == kind:
                    selected = value["spec"]
                    for step in way:
                        selected = selected[step]
                    self.holds(f"{kind} {value['metadata']['name']} selects pods", selected in labels)

    def settings(self) -> None:
        """The service, and with it the tool, cannot write where it reads settings from; others can."""
        pod = self.one("StatefulSet", "vond")["spec"]["template"]["spec"]
        writable = {container["name"]: [place for place in SETTINGS_PLACES if can_write(container, place)]
                    for container in pod["initContainers"] + pod["containers"]}
        self.holds("the service cannot write its settings", writable["vond"] == [])
        self.holds("its mounts and what they cover are seen", can_write(
            pod["containers"][0], "/var/lib/vondserver/tmp/x"))
        # The init container at each start, operators in the other one; both through the same volume.
        for name in ("settings", "ageing"):
            self.holds(f"{name} can write the user's part", writable[name] == SETTINGS_PLACES[:2])
        start = pod["initContainers"][0]
        self.holds("a settings command writes the probe", "command" not in start
                   and start["args"][0] in ("getTempFolder", "setTempFolder", "setLogging", "setLogFolder"))

    def instances(self) -> None:
        pods = self.one("StatefulSet", "vond")
        service = self.one("Service", pods["spec"]["serviceName"])
        haproxy, files = self.one("Deployment", "vond-haproxy")["spec"]["template"]["spec"]["containers"]
        values = {entry["name"]: entry.get("value") for entry in haproxy["env"]}
        addresses = {name: value for name, value in values.items() if re.fullmatch(r"VOND_\d+", name)}
        port = service["spec"]["ports"][0]["port"]
        self.holds("addresses of the instances", addresses == {
            f"VOND_{n}": f"vond-{n}.{service['metadata']['name']}.default.svc.cluster.local:{port}"
            for n in range(pods["spec"]["replicas"])})
        container = pods["spec"]["template"]["spec"]["containers"][0]
        self.holds("the service's port", container["ports"][0]["containerPort"] == port)
        self.holds("the image's own command", "command" not in container)
        for probe in ("startupProbe", "readinessProbe", "livenessProbe"):
            self.holds(f"{probe} asks for /", container[probe]["httpGet"]["path"] == "/")
        for variable in values:
            self.holds(f"haproxy.cfg reads {variable}", variable in self.configuration)
        place = re.search(r"^    presetenv VOND_CONSOLE (\S+)", self.configuration, re.M)[1]
        self.holds("the page's files are served where HAProxy looks", place in files["command"])
        for backend in ("vond", "vond_work"):
            part = re.search(rf"^backend {backend}\n((?:[ #.].*\n|\n)*)", self.configuration, re.M)[1]
            servers = re.findall(r'^    server vond-(\d+) "\$VOND_(\d+)" cookie vond-(\d+)', part, re.M)
            self.holds(f"servers of {backend}", servers == [
                (str(n),) * 3 for n in range(pods["spec"]["replicas"])])
        known = re.search(r"acl has_instance .* (vond-0.*)", self.configuration)[1].split()
        self.holds("cookies that are known", known == [
            f"vond-{n}" for n in range(pods["spec"]["replicas"])])


def script(objects: list, container: str, what: str) -> str:
    for value in objects:
        for found in value.get("spec", {}).get("template", {}).get("spec", {}).get("containers", []):
            if found["name"] == container:
                command = found["lifecycle"][what]["exec"]["command"] if what == "preStop" \
                    else found[what]
                assert command[-3:-1] == ["/bin/sh", "-c"]
                return command[-1]
    raise KeyError(container)


def main() -> int:
    objects = strict_yaml(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    if sys.argv[2] == "--script":
        print(script(objects, sys.argv[3], sys.argv[4]))
        return 0
    check = Check(objects, pathlib.Path(sys.argv[2]).read_text(encoding="utf-8"))
    check.models()
    check.models_could_fail()
    check.pods()
    check.settings()
    check.instances()
    print(f"{len(objects)} objects, {check.made} checks: {check.broken} failed")
    return 1 if check.broken else 0


if __name__ == "__main__":
    sys.exit(main())
