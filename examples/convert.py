#!/usr/bin/env python3
"""Converts one image through vondServer: upload, convert, follow, fetch. Ctrl-C cancels.

The standard library only. Usable as a module, too:

    client = Client("http://127.0.0.1:8080")
    name, content = client.convert(pathlib.Path("picture.jpg"), "PressCMYK", print)
"""

import argparse
import base64
import concurrent.futures
import json
import os
import pathlib
import re
import sys
import urllib.error
import urllib.parse
import urllib.request
import uuid


class ConversionFailed(Exception):
    """The tool's own explanation, if it gave one."""


def may_be_name(answer: str) -> bool:
    """Whether this can be a file name worth requesting. A proxy would reject anything else."""
    return 0 < len(answer) <= 255 and not re.search(r"[/\\\x00-\x1f\x7f]", answer)


class Client:
    def __init__(self, url: str, user: str = ""):
        self._url = url.rstrip("/")
        self._headers = {}
        # A proxy in front of several services uses a cookie to remember where our upload went.
        self._opener = urllib.request.build_opener(urllib.request.HTTPCookieProcessor())
        if user:
            self._headers["Authorization"] = "Basic " + base64.b64encode(user.encode()).decode()

    def ask(self, path: str, body: bytes = None, timeout: float = 60) -> bytes:
        """GET without a body, POST with one. Failures of the service itself come as texts."""
        request = urllib.request.Request(self._url + path, data=body, headers=self._headers)
        with self._opener.open(request, timeout=timeout) as answer:
            return answer.read()

    def progress(self, job: str) -> int:
        """Percent; -1 when it is unknown, which includes before and after the conversion."""
        text = self.ask("/progressInfo/" + job).decode()
        told = re.findall(r"Progress: *(\d+)", text)  # several lines may have arrived at once
        return int(told[-1]) if told else -1

    def cancel(self, job: str) -> None:
        self.ask("/cancelConversion/" + job)

    def convert(self, image: pathlib.Path, configuration: str,
                on_progress=lambda percent: None) -> tuple[str, bytes]:
        """The result's name and content. Raises ConversionFailed; KeyboardInterrupt cancels."""
        # Also the cancel ID and the name of the upload. A new name each time: an upload replaces a file of the same
        # name, and the result of an earlier conversion could be taken for ours.
        job = str(uuid.uuid4())
        suffix = image.suffix if re.fullmatch(r"\.[A-Za-z0-9]+", image.suffix) else ""
        self.ask("/upload/" + job + suffix, image.read_bytes())

        request = {"fileName": job + suffix, "reqestID": job, "cancelID": job,  # spelt so
                   "configuration": configuration}
        with concurrent.futures.ThreadPoolExecutor(1) as other:
            try:
                # The response comes when the tool has ended, however long that takes.
                conversion = other.submit(self.ask, "/convert", json.dumps(request).encode(), None)
                while not conversion.done():
                    percent = self.progress(job)
                    if percent >= 0:
                        on_progress(percent)
                    concurrent.futures.wait([conversion], timeout=0.2)
            except BaseException:
                self.cancel(job)  # and leaving "with" waits for the response
                raise
            name = conversion.result().decode()

        return name, self.fetch(name)

    def fetch(self, answer: str) -> bytes:
        """The content of the result that "/convert" returned. The response is a name or what went wrong, and only
        fetching shows which. A rejection that has nothing to do with the name is an HTTPError."""
        content = b""
        if may_be_name(answer):
            try:
                content = self.ask("/getConversionResult/" + urllib.parse.quote(answer, safe=""))
            except urllib.error.HTTPError as refusal:
                if refusal.code not in (400, 404, 414):
                    raise
        if not content:
            raise ConversionFailed(answer.strip() or "the tool failed without a word")
        return content


def show_bar(percent: int) -> None:
    if sys.stderr.isatty():
        print(f"\r[{'#' * (percent * 40 // 100):40}] {percent:3} %", end="", file=sys.stderr, flush=True)


def main() -> int:
    parser = argparse.ArgumentParser(
        description="Converts one image through vondServer. Ctrl-C cancels.",
        epilog="Exit status: 0 done; 1 failed, or nobody answers; 2 wrong usage, or the image cannot be "
               "read; 130 cancelled.")
    parser.add_argument("-s", dest="url", default="http://127.0.0.1:8080", help="where the service is")
    parser.add_argument("-c", dest="configuration", default="PressCMYK", help="what to convert with")
    parser.add_argument("-u", dest="user", default="", help="NAME:PASSWORD, for a proxy that asks for it")
    parser.add_argument("image", type=pathlib.Path)
    parser.add_argument("result", type=pathlib.Path, nargs="?", help="where the result goes; beside the image if not given")
    options = parser.parse_args()
    image = options.image
    if not image.is_file() or not os.access(image, os.R_OK):
        parser.error(f"cannot read {image}")
    try:
        name, content = Client(options.url, options.user).convert(image, options.configuration, show_bar)
        # With the suffix of the result: the tool may have chosen a format other than the image's.
        result = options.result or image.with_name(
            f"{image.stem}_{options.configuration.replace('/', '-')}{pathlib.PurePath(name).suffix}")
        result.write_bytes(content)
    except KeyboardInterrupt:
        print("\nconvert.py: cancelled", file=sys.stderr)
        return 130
    except (ConversionFailed, OSError) as failure:  # a refused connection is an OSError, too
        print(f"\nconvert.py: {failure}", file=sys.stderr)
        return 1
    if sys.stderr.isatty():
        print(file=sys.stderr)
    print(result)
    return 0


if __name__ == "__main__":
    sys.exit(main())
