#!/usr/bin/env python3
"""Takes away what the built service needs, and restores it.

    faultstest.py SERVICE TOOL [--heavy] [NAME...]

Each fault is caused for real: limits of the running process, a small separate file system, a tool
that is removed or misbehaves. Meanwhile the responses must be as documented, and when the cause is
gone, the same process must work again. `--heavy`: instead the case that needs gigabytes.

Works in a separate mount namespace, so that nothing it mounts is visible to others or left behind.
"""

import argparse
import base64
import contextlib
import json
import os
import pathlib
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import rawhttp
import servicerun
from servicerun import eventually

# The tool for these tests: its arguments name what it does.
TOOL = r"""#!/bin/sh
case "$*" in
    version) echo "faulty 1.0" ;;
    *"die by a signal"*) echo half; kill -9 $$ ;;
    *"close the outputs"*) exec >&- 2>&-; sleep 0.5 ;;
    *"ignore everything"*) trap '' TERM INT HUP PIPE; while :; do sleep 0.1; done ;;
    *"sleep a second"*) echo slept; sleep 1 ;;
    *"print a gigabyte"*) head -c 1073741824 /dev/zero | tr '\0' x ;;
    *"print without end"*) exec yes xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx ;;
    *"look for the input"*) [ -e "$5" ] && cat "$5" || { echo "no input"; echo "Error:" >&2; } ;;
    *"a file"*) for last; do :; done; echo converted >"$last" && echo "Output file: $last" ;;
    *) echo "$*" ;;
esac
"""
MEBIBYTE = 1024 * 1024

PROGRAM = ""

# Set in our own mount namespace: whether it belongs to root or to another user, who is called root
# in there.
MOUNTS = "VOND_OWN_MOUNTS"


class Fault(contextlib.ExitStack):
    """A service with a tool and a work folder that can be tampered with."""

    def __init__(self, **more):
        super().__init__()
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vond-fault-"))
        self.callback(shutil.rmtree, self.folder, ignore_errors=True)
        self.folder.chmod(0o755)
        self.tool = self.folder / "tool"
        self.tool.write_text(TOOL, encoding="utf-8")
        self.tool.chmod(0o755)
        self.work = self.folder / "work"
        self.work.mkdir()
        if "user" in more:
            os.chown(self.work, more["user"], more["user"])
        self.service = servicerun.Service(more.pop("program", PROGRAM), str(self.tool),
                                          work_folder=str(self.work), **more)
        self.enter_context(self.service)
        expect(self.service.serves(), "the service does not serve from the beginning")
        same(upload(self, "warm", b""), b'{"ok": true}')  # opens the table of MIME types permanently
        (self.work / "warm").unlink()
        self.settle()
        self.baseline = (self.service.threads(), self.service.descriptors())

    def settle(self) -> None:
        expect(eventually(lambda: self.service.threads() == 1),
               "threads stay behind")

    def address(self) -> tuple:
        return self.service.address

    def client(self) -> rawhttp.RawClient:
        return self.enter_context(rawhttp.RawClient(self.address()))

    def works_again(self) -> None:
        """The whole cycle: an upload, a conversion, its result; and nothing is held afterwards."""
        expect(self.service.alive(), "the service has ended: " + self.service.errors()[-500:])
        self.settle()
        expect(eventually(lambda: self.service.descriptors() == self.baseline[1]),
               f"descriptors: {self.baseline[1]} before, {self.service.descriptors()} now")
        expect(not self.service.children(), "tools stay behind")
        same(upload(self, "again.txt", b"abc"), b'{"ok": true}')
        same((self.work / "again.txt").read_bytes(), b"abc")
        same(convert(self, "again.txt", "a file"), b"again_a file.txt")
        same(get(self, "/getConversionResult/again_a%20file.txt"), b"converted\n")
        (self.work / "again.txt").unlink()
        (self.work / "again_a file.txt").unlink()


def expect(condition: bool, text: str) -> None:
    if not condition:
        raise AssertionError(text)


def same(got, wanted) -> None:
    expect(got == wanted, f"expected {wanted!r}, got {got!r}")


def body(answer):
    return None if answer is None else answer.body


def get(fault: Fault, target: str):
    return body(rawhttp.get(fault.address(), target))


def upload(fault: Fault, name: str, data: bytes):
    return body(rawhttp.post(fault.address(), "/upload/" + name, data))


def conversion(name: str, configuration: str, cancel: str = "c") -> bytes:
    return json.dumps({"fileName": name, "reqestID": "r", "configuration": configuration,
                       "cancelID": cancel}).encode()


def convert(fault: Fault, name: str, configuration: str, cancel: str = "c"):
    return body(rawhttp.post(fault.address(), "/convert", conversion(name, configuration, cancel)))


def inline(fault: Fault, name: str, data: bytes):
    """With a tool that reports whether its input exists."""
    return body(rawhttp.post(fault.address(), "/convertWithLocalData", json.dumps({
        "fileName": name, "imgData": base64.b64encode(data).decode(),
        "configuration": "look for the input"}).encode()))


def vond(fault: Fault, *arguments):
    answer = rawhttp.post(fault.address(), "/vond", json.dumps(list(arguments)).encode())
    return None if answer is None else json.loads(answer.body)


def on(client: rawhttp.RawClient, target: str, data: bytes = b""):
    """A request on an existing connection."""
    client.send(f"POST {target} HTTP/1.1\r\nHost: a\r\nContent-Length: {len(data)}\r\n\r\n"
                .encode() + data)
    return body(client.response())


def was_taken(client: rawhttp.RawClient) -> bool:
    """Whether the service keeps the connection; a rejected one is closed at once."""
    try:
        return on(client, "/") == b"vondServer: Hello world"
    except TimeoutError:
        return False


# Descriptors.

def clients_beyond_the_descriptor_limit_are_closed_at_once():
    with Fault(limits=[(resource.RLIMIT_NOFILE, 200)]) as fault:
        for _ in range(3):
            clients = [rawhttp.RawClient(fault.address()) for _ in range(400)]
            taken = [client for client in clients if was_taken(client)]
            # Three each, and what the service and a run of the tool need.
            expect(40 <= len(taken) <= 60, f"{len(taken)} of 400 clients were taken")
            # Every accepted client is served in full, including the tool.
            same(on(taken[-1], "/version"), b"faulty 1.0\n")
            same(on(taken[0], "/upload/full.txt", b"abc"), b'{"ok": true}')
            same((fault.work / "full.txt").read_bytes(), b"abc")
            for client in clients:
                client.socket.close()
            fault.settle()
        expect("client refused: too few descriptors are left" in fault.service.errors(),
               "the operator was not told")
        fault.works_again()


def a_burst_of_clients_does_not_end_the_service():
    with Fault(limits=[(resource.RLIMIT_NOFILE, 100)]) as fault:
        for _ in range(10):
            # All connect before the first thread can get its wake-up descriptor.
            os.kill(fault.service.pid, signal.SIGSTOP)
            clients = [rawhttp.RawClient(fault.address()) for _ in range(300)]
            os.kill(fault.service.pid, signal.SIGCONT)
            expect(any(was_taken(client) for client in clients), "nobody was taken")
            for client in clients:
                client.socket.close()
            fault.settle()
        fault.works_again()


def tools_that_eat_the_descriptors_do_not_end_the_service():
    with Fault(limits=[(resource.RLIMIT_NOFILE, 150)]) as fault:
        answers = []

        def run():
            try:
                answers.append(vond(fault, "sleep a second"))
            except OSError:
                answers.append(None)  # refused

        def knock(end):
            while time.monotonic() < end:
                try:
                    rawhttp.get(fault.address(), "/")
                except OSError:
                    pass

        runners = [threading.Thread(target=run) for _ in range(60)]
        runners += [threading.Thread(target=knock, args=(time.monotonic() + 3,)) for _ in range(4)]
        for thread in runners:
            thread.start()
        for thread in runners:
            thread.join()
        expect(fault.service.alive(), "the service has ended: " + fault.service.errors()[-300:])
        good = sum(answer == {"stdOut": "slept\n", "stdErr": ""} for answer in answers)
        expect(good > 0, "no tool has run")
        expect(all(answer in (None, {}, {"stdOut": "slept\n", "stdErr": ""}) for answer in answers),
               f"a strange answer among {answers}")
        fault.works_again()


def without_a_descriptor_clients_wait_and_the_processor_rests():
    with Fault() as fault:
        old = fault.service.limit(resource.RLIMIT_NOFILE, fault.service.lowest_free_descriptor())
        client = fault.client()
        client.send(b"GET / HTTP/1.1\r\nHost: a\r\n\r\n")
        before = fault.service.processor_seconds()
        time.sleep(2)
        used = fault.service.processor_seconds() - before
        expect(used < 0.2, f"{used} seconds of processor time in 2 seconds")
        fault.service.limit(resource.RLIMIT_NOFILE, old[0])
        answer = client.response()
        expect(answer is not None and answer.status == 200, "the waiting client was not served")
        client.socket.close()
        fault.works_again()


def a_tool_without_pipes_is_a_failed_wait():
    with Fault() as fault:
        client = fault.client()
        same(on(client, "/version"), b"faulty 1.0\n")
        old = fault.service.limit(resource.RLIMIT_NOFILE,
                                  fault.service.lowest_free_descriptor() + 4)
        same(on(client, "/version"), b"")
        same(on(client, "/vond", b'["version"]'), b"{}")
        same(on(client, "/convert", conversion("x.txt", "a file")), b"")
        lines = fault.service.errors()
        for line in ("vond process timeout\n", "vond process timeout converting: "):
            expect(line in lines, f"the line {line!r} is missing")
        fault.service.limit(resource.RLIMIT_NOFILE, old[0])
        same(on(client, "/version"), b"faulty 1.0\n")
        client.socket.close()
        fault.works_again()


# Threads.

def clients_beyond_the_thread_limit_are_closed_at_once():
    if os.environ[MOUNTS] != "root's":
        raise unittest.SkipTest("only root can start the service as another user, whose threads "
                                "are counted apart")
    user = 64321  # nobody else's, so that only the service counts
    with tempfile.TemporaryDirectory(prefix="vond-program-") as folder:
        os.chmod(folder, 0o755)
        program = shutil.copy(PROGRAM, folder)
        with Fault(user=user, program=program, limits=[(resource.RLIMIT_NPROC, 10)]) as fault:
            bystander = subprocess.Popen(["sleep", "60"], user=user, group=user, extra_groups=[])
            fault.callback(bystander.wait)
            fault.callback(bystander.kill)
            clients = [rawhttp.RawClient(fault.address()) for _ in range(60)]
            taken = [client for client in clients if was_taken(client)]
            same(len(taken), 8)
            # The tool is a process, and counts like a thread.
            for client in taken:
                same(on(client, "/version"), b"")
                same(on(client, "/vond", b'["version"]'), b"{}")
                same(on(client, "/convert", conversion("x.txt", "a file")), b"")
            same(bystander.poll(), None)  # a tool that never started is not killed
            expect(eventually(lambda: fault.service.descriptors() == fault.baseline[1] + 16),
                   "a refused client's descriptor stays open")
            expect("client refused: no thread can be started" in fault.service.errors(),
                   "the operator was not told")
            for client in clients:
                client.socket.close()
            fault.works_again()


# Memory.

def memory_that_is_refused_ends_one_connection():
    with Fault() as fault:
        large = b"x" * (300 * MEBIBYTE)
        old = fault.service.limit(resource.RLIMIT_AS, fault.service.memory() + 200 * MEBIBYTE)
        with rawhttp.RawClient(fault.address(), patience=1) as client:
            client.send("POST /upload/large.txt HTTP/1.1\r\nHost: a\r\n"
                        f"Content-Length: {len(large)}\r\n\r\n".encode())
            try:
                client.send(large)
            except TimeoutError:
                pass  # nobody reads it any more
            expect(client.closed(), "the connection stays open")
        expect(eventually(lambda: "Allocation failed, creating rqh: std::bad_alloc\n"
                          in fault.service.errors()), "the operator was not told")
        fault.settle()
        expect(fault.service.serves(), "others are not served")
        same(upload(fault, "small.txt", b"abc"), b'{"ok": true}')
        fault.service.limit(resource.RLIMIT_AS, old[0])
        same(upload(fault, "large.txt", large), b'{"ok": true}')
        same((fault.work / "large.txt").stat().st_size, len(large))
        fault.works_again()


def without_memory_for_a_thread_clients_are_closed_at_once():
    with Fault() as fault:
        old = fault.service.limit(resource.RLIMIT_AS, fault.service.memory())
        kept = [rawhttp.RawClient(fault.address()) for _ in range(20)]
        taken = sum(was_taken(client) for client in kept)
        expect(taken < 20, "no client was refused: the limit did nothing")
        expect(fault.service.alive(), "the service has ended: " + fault.service.errors()[-300:])
        for client in kept:
            client.socket.close()
        fault.service.limit(resource.RLIMIT_AS, old[0])
        fault.works_again()


# Signals.

def a_reader_of_the_error_stream_that_has_gone_ends_nothing():
    reader, writer = os.pipe()
    with os.fdopen(writer, "wb") as errors, Fault(errors_to=errors) as fault:
        errors.close()
        os.close(reader)
        fault.tool.rename(fault.folder / "elsewhere")
        for _ in range(3):
            expect((get(fault, "/version") or b"").startswith(b"error: no vond-exe not found:"),
                   "not the answer for a missing tool")
        (fault.folder / "elsewhere").rename(fault.tool)
        fault.works_again()


def a_limit_on_the_size_of_files_ends_nothing():
    with Fault() as fault:
        old = fault.service.limit(resource.RLIMIT_FSIZE, 1000)
        same(upload(fault, "large.txt", b"x" * 100000), b'{"ok": true}')
        expect(fault.service.serves(), "others are not served")
        fault.service.limit(resource.RLIMIT_FSIZE, old[0])
        fault.works_again()


# The work folder.

def mounted(fault: Fault, options: str) -> None:
    subprocess.run(["mount", "-t", "tmpfs", "-o", options, "none", fault.work], check=True)
    fault.callback(subprocess.run, ["umount", "--lazy", fault.work], check=True)


def a_full_disk_is_seen_in_the_result_only():
    with Fault() as fault:
        mounted(fault, "size=1m,nr_inodes=6")
        same(upload(fault, "big.txt", b"x" * 3 * MEBIBYTE), b'{"ok": true}')
        expect(not (fault.work / "big.txt").exists(), "a part of an upload is there")
        same(upload(fault, "big.txt", b"old"), b'{"ok": true}')
        same(get(fault, "/getConversionResult/big.txt"), b"old")
        same(upload(fault, "big.txt", b"x" * 3 * MEBIBYTE), b'{"ok": true}')
        same(get(fault, "/getConversionResult/big.txt"), b"")  # neither a partial file nor the old one
        same(inline(fault, "big.txt", b"x" * 3 * MEBIBYTE), b"no input\n")
        same([path.name for path in fault.work.iterdir()], [])
        # As large as the disk allows, and twice: the old one makes room for the new one.
        for letter in (b"a", b"b"):
            same(upload(fault, "big.txt", letter * (1000 * 1024)), b'{"ok": true}')
            same(get(fault, "/getConversionResult/big.txt"), letter * (1000 * 1024))
        same(upload(fault, "rest.txt", b"x" * MEBIBYTE), b'{"ok": true}')
        same([path.name for path in fault.work.iterdir()], ["big.txt"])
        (fault.work / "rest.txt").write_bytes(b"x" * 24 * 1024)
        same(get(fault, "/cancelConversion/full"), b"full")
        same((fault.work / "full.txt").stat().st_size, 0)  # it exists, which is what counts
        (fault.work / "full.txt").unlink()
        same(convert(fault, "big.txt", "a file"), b"big_a file.txt")  # which the tool left empty
        same(get(fault, "/getConversionResult/big_a%20file.txt"), b"")
        expect("file is not available, Size:0" in fault.service.errors(), "the operator was not "
               "told of the empty result")
        for name in "abcd":
            upload(fault, name, b"")
        same(get(fault, "/cancelConversion/stop"), b"")
        expect("Could not open" in fault.service.errors(), "the operator was not told")
        same(vond(fault, {"filename": "f.txt", "data": "eA=="}), {})
        for path in fault.work.iterdir():
            path.unlink()
        fault.works_again()


def a_read_only_work_folder_is_told_where_the_interface_tells():
    with Fault() as fault:
        mounted(fault, "size=4m")
        subprocess.run(["mount", "-o", "remount,ro", fault.work], check=True)
        same(upload(fault, "x.txt", b"abc"), b'{"ok": true}')
        expect(not (fault.work / "x.txt").exists(), "the folder was not read-only")
        same(get(fault, "/cancelConversion/stop"), b"")
        same(vond(fault, {"filename": "f.txt", "data": "eA=="}), {})
        inline = json.dumps({"fileName": "f.txt", "imgData": "eA==", "configuration": "a file"})
        same(body(rawhttp.post(fault.address(), "/convertWithLocalData", inline.encode())), b"")
        lines = fault.service.errors()
        for line in (f"Could not open {fault.work}/stop.txt for writing: ",
                     f"Could not open {fault.work}/f.txt for writing: ",
                     "Error: saving data to filef.txt\n"):
            expect(line in lines, f"the line {line!r} is missing")
        subprocess.run(["mount", "-o", "remount,rw", fault.work], check=True)
        fault.works_again()


def a_work_folder_that_is_gone_is_replaced_until_it_is_back():
    with Fault() as fault:
        fault.work.rmdir()
        same(upload(fault, "x.txt", b"abc"), b'{"ok": true}')
        same((fault.service.folder / "tmp/x.txt").read_bytes(), b"abc")
        same(get(fault, "/getConversionResult/x.txt"), b"abc")
        fault.work.mkdir()
        same(get(fault, "/getConversionResult/x.txt"), b"")
        fault.works_again()


def a_file_in_place_of_the_work_folder_loses_uploads_only():
    with Fault() as fault:
        fault.work.rmdir()
        fault.work.write_bytes(b"no folder")
        same(upload(fault, "x.txt", b"abc"), b'{"ok": true}')
        same(get(fault, "/getConversionResult/x.txt"), b"")
        same(get(fault, "/cancelConversion/stop"), b"")
        same(fault.work.read_bytes(), b"no folder")
        fault.work.unlink()
        fault.work.mkdir()
        fault.works_again()


# The tool.

def a_tool_that_vanished_is_named_in_the_answers():
    with Fault() as fault:
        hidden = fault.folder / "hidden"
        fault.tool.rename(hidden)
        refusal = f"error: no vond-exe not found:{fault.tool}".encode()
        for path in ("version", "listconfigurations", "configDetails/x", "cancelConversion/c"):
            same(get(fault, "/" + path), refusal)
        same(convert(fault, "x.txt", "a file"), refusal)
        same(vond(fault, "version"), {})
        expect(f"error: no vond-exe not found{fault.tool}\n" in fault.service.errors(),
               "the operator was not told")
        hidden.rename(fault.tool)
        same(get(fault, "/version"), b"faulty 1.0\n")
        fault.works_again()


def cannot_be_started(fault: Fault) -> None:
    same(get(fault, "/version"), b"")
    same(convert(fault, "x.txt", "a file"), b"")
    same(vond(fault, "version"), {})
    lines = fault.service.errors()
    for line in ("vond process timeout\n",
                 f"vond process timeout converting: {fault.work}/x.txt\n"):
        expect(line in lines, f"the line {line!r} is missing")


def a_tool_that_may_not_be_executed_is_a_failed_wait():
    with Fault() as fault:
        fault.tool.chmod(0o644)
        cannot_be_started(fault)
        fault.tool.chmod(0o755)
        fault.works_again()


def a_tool_that_is_no_program_is_a_failed_wait():
    with Fault() as fault:
        fault.tool.write_bytes(b"\x7fELF, or not")
        cannot_be_started(fault)
        fault.tool.write_text(TOOL, encoding="utf-8")
        fault.works_again()


def a_folder_in_place_of_the_tool_is_a_failed_wait():
    with Fault() as fault:
        fault.tool.unlink()
        fault.tool.mkdir()
        cannot_be_started(fault)
        fault.tool.rmdir()
        fault.tool.write_text(TOOL, encoding="utf-8")
        fault.tool.chmod(0o755)
        fault.works_again()


def begin_conversion(fault, behaviour: str):
    """A client whose conversion the tool has begun."""
    client = fault.client()
    data = conversion("x.txt", behaviour)
    client.send(f"POST /convert HTTP/1.1\r\nHost: a\r\nContent-Length: {len(data)}\r\n\r\n"
                .encode() + data)
    expect(eventually(fault.service.children), "the tool was not started")
    return client


def a_tool_killed_by_a_signal_answers_what_it_had_said():
    with Fault() as fault:
        same(vond(fault, "die by a signal"), {"stdOut": "half\n", "stdErr": ""})
        same(convert(fault, "x.txt", "die by a signal"), b"x_die by a signal.txt")
        fault.works_again()


def a_tool_killed_from_outside_ends_its_request_only():
    with Fault() as fault:
        client = begin_conversion(fault, "ignore everything")
        same(get(fault, "/cancelConversion/c"), b"c")
        same(get(fault, "/progressInfo/r"), b"Progress: 0%")
        expect(client.silent(1), "a tool that ignores everything was not waited for")
        expect(fault.service.serves(), "others are not served")
        for child in fault.service.children():
            os.kill(child, signal.SIGKILL)
        same(body(client.response()), b"x_ignore everything.txt")
        same(get(fault, "/progressInfo/r"), b"")
        client.socket.close()
        fault.works_again()


def a_tool_that_outlives_its_client_is_waited_for_and_leaves_nothing():
    with Fault() as fault:
        client = begin_conversion(fault, "sleep a second")
        client.reset()
        expect(eventually(lambda: not fault.service.children()), "the tool stays behind")
        fault.works_again()


def a_tool_that_closes_its_outputs_is_waited_for():
    with Fault() as fault:
        start = time.monotonic()
        same(vond(fault, "close the outputs"), {"stdOut": "", "stdErr": ""})
        expect(time.monotonic() - start >= 0.5, "the tool was not waited for")
        same(convert(fault, "x.txt", "close the outputs"), b"x_close the outputs.txt")
        fault.works_again()


def a_conversion_that_prints_a_gigabyte():
    """Heavy. Its output is read piece by piece, and none of it is kept."""
    with Fault() as fault:
        same(convert(fault, "x.txt", "print a gigabyte"), b"x_print a gigabyte.txt")
        fault.works_again()


def a_tool_that_prints_without_end_is_killed():
    with Fault() as fault:
        request = {"fileName": "x.txt", "imgData": "", "configuration": "print without end"}
        answer = rawhttp.post(fault.address(), "/convertWithLocalData", json.dumps(request).encode())
        same(body(answer), str(fault.work / "x_print without end.txt").encode())
        line = f"error: the tool printed more than {64 * MEBIBYTE} bytes, it is killed\n"
        expect(line in fault.service.errors(), "the operator was not told")
        fault.works_again()


def an_argument_of_700_mebibytes():
    """Heavy: no tool can be started with it, and its log line is longer than a text can be."""
    with Fault() as fault:
        argument = b'["' + b"x" * (720 * MEBIBYTE) + b'"]'
        try:
            answer = rawhttp.post(fault.address(), "/vond", argument, patience=60)
            same(body(answer), b"{}")
        except TimeoutError:
            expect("Allocation failed, creating rqh: std::bad_alloc\n" in fault.service.errors(),
                   "no answer, and the operator was not told why")
        fault.works_again()


HEAVY = [a_conversion_that_prints_a_gigabyte, an_argument_of_700_mebibytes]
CASES = [value for name, value in list(globals().items())
         if getattr(value, "__code__", None) and value.__code__.co_argcount == 0
         and value.__module__ == __name__ and value not in HEAVY]


def enter_own_mounts() -> int:
    """Starts this program again in there; returns only if that is impossible."""
    kind, own = ("root's", ["unshare", "--mount"]) if os.getuid() == 0 \
        else ("a user's", ["unshare", "--mount", "--map-root-user"])
    trial = subprocess.run([*own, "true"], stderr=subprocess.PIPE, text=True, check=False)
    if trial.returncode != 0:
        print(f"SKIP no mount namespace of our own: {trial.stderr.strip()}")
        return 77
    os.environ[MOUNTS] = kind
    os.execvp("unshare", [*own, sys.executable, "-B", *sys.argv])


def main() -> int:
    global PROGRAM
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("service")
    parser.add_argument("tool", help="not used: these tests bring their own")
    parser.add_argument("--heavy", action="store_true")
    parser.add_argument("names", nargs="*")
    options = parser.parse_intermixed_args()
    if MOUNTS not in os.environ:
        return enter_own_mounts()
    PROGRAM = options.service
    suite = unittest.TestSuite(
        unittest.FunctionTestCase(test) for test in (HEAVY if options.heavy else CASES)
        if not options.names or test.__name__ in options.names)
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=2).run(suite)
    return 0 if result.wasSuccessful() and result.testsRun > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
