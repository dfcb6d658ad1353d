#!/usr/bin/env python3
"""Sends the table in conformancecases.py and compares the outcome.

    conformancetest.py SERVICE TOOL                the built service; fails when a case does
    conformancetest.py SERVICE TOOL --beside HOST:PORT [--write FILE]
                                                   another server too: fails as well when that one
                                                   differs without a reason in the table, or a
                                                   reason stands there in vain
    conformancetest.py --server HOST:PORT          any server; shows what differs from the table
"""

import argparse
import sys

import conformancecases as table
import rawhttp
import servicerun

PROBE = "GET /vondServerVersion HTTP/1.1\r\nHost: a\r\n\r\n".encode()
MOMENT = 0.1  # seconds during which nothing must arrive


class Observation:
    def __init__(self):
        self.words = []
        self.responses = []

    def text(self) -> str:
        return " ".join(self.words)


def observe(address: tuple, case: table.Case, patience: float) -> Observation:
    """Runs one case. A further request at the end shows whether the connection is open or closed."""
    seen = Observation()
    expected = sum(word.isdigit() for word in case.outcome.split())
    half_closed = False

    def next_answer() -> str:
        try:
            response = client.response(to_head=len(seen.responses) in case.heads)
        except TimeoutError:
            return "silence"
        if response is None:
            return "closed"
        seen.responses.append(response)
        return str(response.status) if response.status else "bare"

    with rawhttp.RawClient(address, patience) as client:
        for step in case.sends:
            if step is table.RESET:
                client.reset()
                answer = rawhttp.ask(address, PROBE, patience)
                seen.words.append("gone" if answer and answer.status == 200 else "dead")
                return seen
            if step is table.HALF_CLOSE:
                client.half_close()
                half_closed = True
            elif step is table.SILENCE:
                if not client.silent(MOMENT):
                    seen.words.append("early")
            elif step is table.ANSWER:
                seen.words.append(next_answer())
            else:
                client.send(step)
        while len(seen.responses) < expected and "closed" not in seen.words:
            word = next_answer()
            seen.words.append(word)
            if word == "silence":
                return seen
        if "closed" in seen.words:
            return seen
        awaits_end = half_closed or (not expected and case.outcome == "closed")
        if not awaits_end:
            client.send(PROBE)
        while True:
            word = next_answer()
            if word == "200" and seen.responses[-1].body.startswith(b"vondServer:1."):
                seen.responses.pop()
                seen.words.append("open")
                return seen
            seen.words.append(word)
            if word in ("closed", "silence"):
                return seen


def complaint(case: table.Case, seen: Observation) -> str:
    """What is wrong with the service's responses; empty if nothing is."""
    if seen.text() != case.outcome:
        return f"expected {case.outcome}, got {seen.text()}"
    finals = [response for response in seen.responses if response.status >= 200]
    for response in finals:
        if "date" not in response.fields:
            return "an answer without Date (9110 6.6.1)"
        if "content-length" not in response.fields:
            return "an answer without Content-Length (9110 8.6)"
    told = bool(finals) and finals[-1].fields.get("connection") == "close"
    half_closed = table.HALF_CLOSE in case.sends
    if finals and not half_closed and told != seen.text().endswith("closed"):
        return "Connection does not say what becomes of the connection (9112 9.6)"
    if case.body is not None and finals[-1].body != case.body:
        return f"expected the body {case.body!r}, got {finals[-1].body!r}"
    return ""


def check_service(address: tuple) -> tuple:
    """What the service did in each case, and how many cases failed."""
    outcomes, broken = {}, 0
    for case in table.CASES:
        seen = observe(address, case, rawhttp.PATIENCE)
        outcomes[case.name] = seen.text()
        wrong = complaint(case, seen)
        if wrong:
            broken += 1
            print(f"FAIL {case.name} ({case.section}): {wrong}")
    print(f"{len(table.CASES)} cases, {broken} failed")
    return outcomes, broken


def check_other(address: tuple, outcomes: dict) -> tuple:
    """What another server did, and how many differences and reasons do not match."""
    others, unexplained = {}, 0
    for case in table.CASES:
        others[case.name] = observe(address, case, 2.0).text()
        if (others[case.name] != outcomes[case.name]) != bool(case.differs):
            unexplained += 1
            said = f"the reason is: {case.differs}" if case.differs else "no reason is given"
            print(f"FAIL {case.name} ({case.section}): service {outcomes[case.name]}, "
                  f"other {others[case.name]}; {said}")
    print(f"beside another server: {unexplained} differences without a reason, "
          f"or reasons without a difference")
    return others, unexplained


def cell(text: str) -> str:
    """Escaped for a Markdown table."""
    words = text.split()
    if len(words) > 10 and len(set(words[:-1])) == 1:
        text = f"{words[0]} × {len(words) - 1} {words[-1]}"
    shown = "".join(c if c.isprintable() else f"\\x{ord(c):02x}" for c in text)
    return shown.replace("\\", "\\\\").replace("|", "\\|").replace("`", "\\`") \
        .replace("*", "\\*").replace("<", "\\<")


def write_document(path: str, outcomes: dict, others: dict, other_name: str) -> None:
    same = sum(outcomes[case.name] == others[case.name] for case in table.CASES)
    lines = [
        "# How the HTTP layer behaves, compared with nginx",
        "",
        "Written by `scripts/try conformance`, which sends each case over a raw socket to the built",
        f"service and to {other_name}, and fails if a difference has no reason. The table of",
        "cases is `tests/service/conformancecases.py`; the quick tests check the service's column.",
        "",
        f"{len(table.CASES)} cases, the same in both {same}, with a reason "
        f"{len(table.CASES) - same}.",
        "",
        "An outcome is the statuses in order, then whether a further request on the connection was",
        "answered (open) or the server had ended it (closed). \"bare\" is a response without a head,",
        "\"silence\" means none within two seconds, \"gone\" that the client vanished and the next one was",
        "served. A four-digit section number is that of an RFC; \"contract\" is a choice of this service.",
    ]
    heading = None
    for case in table.CASES:
        if table.GROUPS[case.name] != heading:
            heading = table.GROUPS[case.name]
            lines += ["", f"## {heading}", "",
                      "| Case | Section | vondServer | nginx | Why they differ |",
                      "|---|---|---|---|---|"]
        other = others[case.name]
        lines.append("| " + " | ".join(cell(text) for text in (
            case.name, case.section, outcomes[case.name],
            "same" if other == outcomes[case.name] else other, case.differs)) + " |")
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join(lines) + "\n")


def address_of(text: str) -> tuple:
    host, port = text.rsplit(":", 1)
    return (host, int(port))


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("service", nargs="?")
    parser.add_argument("tool", nargs="?")
    parser.add_argument("--server")
    parser.add_argument("--beside")
    parser.add_argument("--name", default="nginx")
    parser.add_argument("--write")
    options = parser.parse_args()
    if options.server:
        return 1 if check_service(address_of(options.server))[1] else 0
    if not options.tool:
        parser.error("the service and a tool, or --server")
    with servicerun.Service(options.service, options.tool) as service:
        outcomes, broken = check_service(service.address)
        if not service.serves():
            print("FAIL the service does not serve any more: " + service.errors())
            return 1
    if options.beside:
        others, unexplained = check_other(address_of(options.beside), outcomes)
        if not broken and not unexplained and options.write:
            write_document(options.write, outcomes, others, options.name)
        broken += unexplained
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
