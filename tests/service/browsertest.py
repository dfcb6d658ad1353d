#!/usr/bin/env python3
"""Opens uploaded files in a browser, through a proxy, as somebody who knows the password.

    browsertest.py --url https://HOST:PORT --user NAME:PASSWORD [--at ADDRESS]

A page, an XHTML page and an SVG picture with a script in each must not run it, opened directly or in a frame of a page
of the same origin, and must have an opaque origin. Pictures must show in that page. The page takes the place of the
clients' own: the browser gets it instead of a response. First, a control shows that the same script does run in that
page.

Needs chromium. Its certificate checks are off: the proxy's certificate is made for the occasion.
"""

import argparse
import base64
import json
import os
import pathlib
import select
import subprocess
import sys
import tempfile
import time

TIME_LIMIT = 60  # seconds, for every wait

# Reports it wherever it can: in its title, to the page around it, and to the service, with the password.
SCRIPT = """
document.title = "ran in " + self.origin;
parent.postMessage("ran NAME", "*");
fetch("/upload/ran-NAME.txt", {method: "POST", body: "in " + self.origin + " " + document.cookie});
"""
UPLOADS = {
    "page.html": '<!DOCTYPE html><title>still</title><p>text</p><script>SCRIPT</script>'
                 '<img src=x onerror="SCRIPT">',
    "page.xhtml": '<?xml version="1.0"?><!DOCTYPE html><html xmlns="http://www.w3.org/1999/xhtml"><head>'
                  '<title>still</title></head><body><script>//<![CDATA[\nSCRIPT//]]></script></body></html>',
    "drawing.svg": '<?xml version="1.0"?><svg xmlns="http://www.w3.org/2000/svg" width="30" height="20">'
                   '<rect width="30" height="20"/>' + 300 * ' ' +  # otherwise the script makes it a page
                   '<script>//<![CDATA[\nSCRIPT//]]></script></svg>',
    "page.png": '<!DOCTYPE html><title>still</title><script>SCRIPT</script>',
}
# What type the service gives them: otherwise the test would be about something else.
CONTENT_TYPES = {"page.html": "text/html", "page.xhtml": "application/xhtml+xml",
                 "drawing.svg": "image/svg+xml", "page.png": "text/html"}


class Browser:
    """Headless chromium, controlled through two pipes: JSON texts, each terminated by a zero."""

    def __init__(self, folder: str, host: str, address: str):
        from_here, self.commands = os.pipe()
        self.answers, to_here = os.pipe()
        command = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                   "--no-first-run", "--disable-background-networking", "--disable-component-update",
                   "--disable-sync", "--disable-dev-shm-usage", "--no-proxy-server",
                   "--ignore-certificate-errors", f"--user-data-dir={folder}",
                   f"--host-resolver-rules=MAP {host} {address}, MAP * ~NOTFOUND",
                   "--remote-debugging-pipe", "about:blank"]
        # The browser reads from its descriptor 3 and writes to 4.
        self.process = subprocess.Popen(
            ["/bin/sh", "-c", f'exec 3<&{from_here} 4>&{to_here} && exec "$@"', "sh", *command],
            pass_fds=(from_here, to_here), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=open(os.path.join(folder, "browser.log"), "wb"), start_new_session=True)
        os.close(from_here)
        os.close(to_here)
        self.folder = folder
        self.read = b""
        self.number = 0
        self.page_of_origin = {}  # address: the page given instead of a response
        self.loaded = set()  # sessions whose page has loaded
        target = self.ask("Target.createTarget", {"url": "about:blank"})["targetId"]
        self.session = self.ask("Target.attachToTarget", {"targetId": target, "flatten": True})["sessionId"]
        self.ask("Page.enable")
        self.ask("Runtime.enable")

    def close(self) -> None:
        os.close(self.commands)
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, 9)
            self.process.wait()
        os.close(self.answers)

    def send(self, method: str, parameters=None) -> int:
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters or {}}
        if hasattr(self, "session"):
            message["sessionId"] = self.session
        data = json.dumps(message).encode() + b"\0"
        while data:
            data = data[os.write(self.commands, data):]
        return self.number

    def receive(self, deadline: float) -> dict:
        while b"\0" not in self.read:
            ready, _, _ = select.select([self.answers], [], [], max(0, deadline - time.monotonic()))
            part = os.read(self.answers, 1 << 20) if ready else b""
            if not part:
                log = pathlib.Path(self.folder, "browser.log").read_text(errors="replace")
                raise RuntimeError("the browser says nothing more; its last words: " + log[-2000:])
            self.read += part
        message, self.read = self.read.split(b"\0", 1)
        return json.loads(message)

    def handle(self, event: dict) -> None:
        if event.get("method") == "Fetch.requestPaused":
            request = event["params"]
            page = self.page_of_origin.get(request["request"]["url"])
            if page is None:
                self.send("Fetch.continueRequest", {"requestId": request["requestId"]})
            else:
                self.send("Fetch.fulfillRequest", {
                    "requestId": request["requestId"], "responseCode": 200,
                    "responseHeaders": [{"name": "Content-Type", "value": "text/html; charset=utf-8"}],
                    "body": base64.b64encode(page.encode()).decode()})
        elif event.get("method") == "Page.loadEventFired":
            self.loaded.add(event["sessionId"])

    def ask(self, method: str, parameters=None) -> dict:
        number = self.send(method, parameters)
        deadline = time.monotonic() + TIME_LIMIT
        while True:
            message = self.receive(deadline)
            if message.get("id") == number:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message["result"]
            self.handle(message)

    def give_page(self, url: str, text: str) -> None:
        """From now on the browser gets this text when it requests the URL."""
        self.page_of_origin[url] = text
        self.ask("Fetch.enable", {"patterns": [{"urlPattern": each} for each in self.page_of_origin]})

    def open(self, url: str) -> None:
        """Opens it and waits until it has loaded completely."""
        self.loaded.discard(self.session)
        answer = self.ask("Page.navigate", {"url": url})
        if answer.get("errorText"):
            raise RuntimeError(f"{url}: {answer['errorText']}")
        deadline = time.monotonic() + TIME_LIMIT
        while self.session not in self.loaded:
            self.handle(self.receive(deadline))

    def value(self, expression: str):
        """The value of an expression in the page, which may be a promise. Works even if scripts may not run."""
        answer = self.ask("Runtime.evaluate", {"expression": expression, "awaitPromise": True,
                                               "returnByValue": True})
        if "exceptionDetails" in answer:
            raise RuntimeError(f"{expression}: {answer['exceptionDetails']}")
        return answer["result"].get("value")


class Test:
    def __init__(self, browser: Browser, url: str, user: str):
        self.browser = browser
        self.url = url
        self.page = url + "/clients-own-page"
        self.broken = 0
        self.made = 0
        # The browser keeps the password, as if somebody had entered it.
        browser.open(url.replace("://", f"://{user}@") + "/vondServerVersion")
        self.expect("what is asked with the password",
                    browser.value("document.body.innerText").split(":")[0], "vondServer")

    def expect(self, what: str, found, wanted) -> None:
        self.made += 1
        if found != wanted:
            self.broken += 1
            print(f"FAIL {what}\n     is:        {found!r}\n     should be: {wanted!r}")

    def open_page_of_origin(self, body: str) -> None:
        self.browser.give_page(self.page, "<!DOCTYPE html><title>own</title><script>"
                               "messages = []; addEventListener('message', e => messages.push(e.data));"
                               f"</script><body>{body}</body>")
        self.browser.open(self.page)
        self.expect("origin of the clients' own page", self.browser.value("self.origin"), self.url)

    def upload(self, name: str, content: bytes) -> None:
        encoded = base64.b64encode(content).decode()
        answer = self.browser.value(
            f"fetch('/upload/{name}', {{method: 'POST', body: Uint8Array.from(atob('{encoded}'),"
            " c => c.charCodeAt(0))}).then(answer => answer.text())")
        self.expect(f"upload of {name}", answer, '{"ok": true}')

    def content_type(self, name: str) -> str:
        return self.browser.value(f"fetch('/getConversionResult/{name}').then("
                                  "answer => answer.headers.get('Content-Type').split(';')[0])")

    def told_the_service(self, name: str) -> str:
        return self.browser.value(f"fetch('/getConversionResult/ran-{name}.txt').then(answer => answer.text())")

    def the_script_would_be_seen(self) -> None:
        self.open_page_of_origin("<script>" + SCRIPT.replace("NAME", "own") + "</script>")
        self.expect("title of a page whose script runs", self.browser.value("document.title"),
                    "ran in " + self.url)
        deadline = time.monotonic() + TIME_LIMIT
        while not self.told_the_service("own"):
            if time.monotonic() > deadline:
                break
            time.sleep(0.05)
        self.expect("what its script told the service", self.told_the_service("own").split()[:2],
                    ["in", self.url])
        self.expect("what its script told the page", self.browser.value("messages"), ["ran own"])

    def nothing_uploaded_runs(self) -> None:
        for name, text in UPLOADS.items():
            self.upload(name, text.replace("SCRIPT", SCRIPT.replace("NAME", name).replace(
                '"', "'")).encode())
            self.expect(f"content type of {name}", self.content_type(name), CONTENT_TYPES[name])
            result = f"{self.url}/getConversionResult/{name}"
            self.browser.open(result)
            self.expect(f"address of {name}", self.browser.value("location.href"), result)
            self.expect(f"origin of {name}", self.browser.value("self.origin"), "null")
            self.expect(f"title of {name}", self.browser.value("document.title"),
                        "" if name == "drawing.svg" else "still")
            for element in ("iframe src", "object data", "embed src"):
                self.open_page_of_origin(f"<{element}='/getConversionResult/{name}'></{element.split()[0]}>")
                self.expect(f"what {name} in {element} told the page", self.browser.value("messages"), [])
            self.expect(f"what {name} told the service", self.told_the_service(name), "")

    def pictures_show(self, files: list) -> None:
        names = ["drawing.svg"]
        for path in files:
            names.append(path.name)
            self.upload(path.name, path.read_bytes())
        self.open_page_of_origin("".join(f"<img src='/getConversionResult/{name}'>" for name in names))
        for number, name in enumerate(names):
            self.expect(f"{name} shows", self.browser.value(f"document.images[{number}].naturalWidth > 0"), True)
        self.open_page_of_origin("<img src='/getConversionResult/page.html'>")
        self.expect("a page is no picture", self.browser.value("document.images[0].naturalWidth"), 0)
        # Opened directly, too: the browser makes a page of its own around it.
        self.browser.open(f"{self.url}/getConversionResult/{names[-1]}")
        self.expect(f"{names[-1]} by itself", self.browser.value("document.images[0].naturalWidth > 0"), True)


def main() -> int:
    reader = argparse.ArgumentParser()
    reader.add_argument("--url", required=True)
    reader.add_argument("--user", required=True)
    reader.add_argument("--at", default="127.0.0.1", help="the address behind the URL's name")
    reader.add_argument("pictures", nargs="*", type=pathlib.Path)
    arguments = reader.parse_args()
    host = arguments.url.split("://")[1].split(":")[0]
    with tempfile.TemporaryDirectory(prefix="vond-browser.", ignore_cleanup_errors=True) as folder:
        browser = Browser(folder, host, arguments.at)
        try:
            test = Test(browser, arguments.url, arguments.user)
            test.the_script_would_be_seen()
            test.nothing_uploaded_runs()
            test.pictures_show(arguments.pictures)
        finally:
            browser.close()
    print(f"{test.made} checks in a browser: {test.broken} failed")
    return 1 if test.broken else 0


if __name__ == "__main__":
    sys.exit(main())
