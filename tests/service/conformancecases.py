"""The table of cases that scripts/try conformance and conformancetest send.

A case is what is sent, the section that applies, and the expected outcome in words: the statuses in
order, then the state of the connection ("open" if a further request on it is answered, "closed" if
the server has ended it). If nginx behaves differently, `differs` says why.
"""

import dataclasses

HALF_CLOSE = object()  # the client closes its sending side
SILENCE = object()  # nothing must arrive for a moment
ANSWER = object()  # waits for one response before sending more
RESET = object()  # the client vanishes; the outcome is "gone", and a new client must be served


@dataclasses.dataclass
class Case:
    name: str
    section: str  # 9110, 9112: HTTP; 3986: URI; 9293: TCP; "contract": our choice
    sends: tuple
    outcome: str
    differs: str = ""  # why nginx differs; empty if it must not
    heads: tuple = ()  # which responses, counted from 0, are to HEAD
    body: bytes = None  # of the last response before the outcome is checked; ours only


STRICT = ("The section permits this leniency, but other programs could parse it differently; "
          "rejected here.")
NO_VIEW = "nginx passes on unknown methods; here they are rejected."
LIMIT = ("Each server chooses its limits: nginx has one per line (414, 400), here there is one "
         "for the head.")

CASES = []
_group = ""


def group(name: str) -> None:
    global _group
    _group = name


GROUPS = {}  # name of a case -> heading


def case(name: str, section: str, sends, outcome: str, **more) -> None:
    if not isinstance(sends, tuple):
        sends = (sends,)
    sends = tuple(s.encode("latin-1") if isinstance(s, str) else s for s in sends)
    assert name not in GROUPS, name
    GROUPS[name] = _group
    CASES.append(Case(name, section, sends, outcome, **more))


def request(line: str, *fields: str, host: str = "a") -> str:
    lines = [line] + ([f"Host: {host}"] if host is not None else []) + list(fields)
    return "".join(text + "\r\n" for text in lines) + "\r\n"


def text(*fields: str, body: str = "") -> str:
    """A POST whose response is its body."""
    return request("POST /text HTTP/1.1", *fields) + body


def chunked(body: str, *fields: str) -> str:
    return text("Transfer-Encoding: chunked", *fields, body=body)


OK = request("GET / HTTP/1.1")

group("Request line")
case("plain GET", "9112 3", OK, "200 open")
case("empty line before the request", "9112 2.2", "\r\n" + OK, "200 open")
case("three empty lines before the request", "9112 2.2", "\r\n\r\n\r\n" + OK, "200 open")
case("empty line between two requests", "9112 2.2", OK + "\r\n" + OK, "200 200 open")
case("2000 empty lines before the request", "9112 2.2", "\r\n" * 2000 + OK, "200 open")
case("line feed before the request", "9112 2.2", "\n" + OK, "400 closed", differs=STRICT)
for method in ("POST", "PUT", "DELETE", "OPTIONS", "PATCH"):
    case(f"method {method}", "9110 9.1",
         request(f"{method} / HTTP/1.1", "Content-Length: 0"), "200 open")
case("unknown method", "9110 9.1", request("BREW / HTTP/1.1"), "501 closed", differs=NO_VIEW)
case("method in lower case is another method", "9110 9.1", request("get / HTTP/1.1"), "501 closed",
     differs="nginx accepts only upper-case letters in a method; a token may contain others.")
case("method of 1000 letters", "9112 3", request("X" * 1000 + " / HTTP/1.1"), "501 closed",
     differs=NO_VIEW)
case("method with an illegal byte", "9110 9.1", request("G@T / HTTP/1.1"), "400 closed")
case("TRACE", "9110 9.3.8", request("TRACE / HTTP/1.1"), "501 closed",
     differs="nginx responds with 405: it knows the method and forbids it.")
case("CONNECT", "9110 9.3.6", request("CONNECT a:80 HTTP/1.1"), "501 closed",
     differs="nginx rejects the form of the target; here it is the method that is not supported.")
case("two blanks before the target", "9112 3", request("GET  / HTTP/1.1"), "400 closed",
     differs=STRICT)
case("two blanks before the version", "9112 3", request("GET /  HTTP/1.1"), "400 closed",
     differs=STRICT)
case("tab instead of a blank", "9112 3", request("GET\t/ HTTP/1.1"), "400 closed")
case("blank before the method", "9112 2.2", request(" GET / HTTP/1.1"), "400 closed")
case("blank after the version", "9112 3", request("GET / HTTP/1.1 "), "400 closed", differs=STRICT)
case("no target", "9112 3", request("GET HTTP/1.1"), "400 closed")
case("no version", "9112 3", "GET /\r\n\r\n", "400 closed",
     differs="nginx still supports HTTP/0.9, with only a body.")
case("only a method", "9112 3", "GET\r\n\r\n", "400 closed")
case("version cut short and nothing else", "9112 3", "GET / HTT\r\n\r\n", "400 closed")
case("byte 160 instead of a blank", "9112 3", request("GET\xa0/ HTTP/1.1"), "400 closed")
case("blank inside the target", "9112 3.2", request("GET /a b HTTP/1.1"), "400 closed")
case("line feeds without carriage returns", "9112 2.2", OK.replace("\r\n", "\n"), "400 closed",
     differs=STRICT)
case("carriage return inside the line", "9112 2.2", request("GET /\r HTTP/1.1"), "400 closed")
case("carriage returns without line feeds", "9112 2.2", OK.replace("\r\n", "\r") + "\r\n\r\n",
     "400 closed")
case("zero byte in the target", "9112 2.2", request("GET /\0 HTTP/1.1"), "400 closed")
case("control byte in the target", "9112 3.2", request("GET /\x01 HTTP/1.1"), "400 closed")
case("delete byte in the target", "9112 3.2", request("GET /\x7f HTTP/1.1"), "400 closed")
case("bytes of another protocol", "9112 3", "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n",
     "400 closed")
case("an answer sent as a request", "9112 3", "HTTP/1.1 200 OK\r\nHost: a\r\n\r\n", "400 closed")

group("Versions")
case("HTTP/1.0", "9112 9.3", request("GET / HTTP/1.0"), "200 closed")
case("HTTP/1.0 without Host", "9112 3.2", request("GET / HTTP/1.0", host=None), "200 closed")
case("HTTP/1.2", "9110 2.5", request("GET / HTTP/1.2"), "505 closed",
     differs="An undefined version is rejected here; nginx treats it as 1.1.")
for version in ("0.9", "2.0", "3.0", "9.9"):
    case(f"HTTP/{version}", "9110 15.6.6", request(f"GET / HTTP/{version}"), "505 closed",
         **({"differs": "nginx responds with 400 to versions below 1.0."} if version == "0.9"
            else {}))
case("opening words of HTTP/2", "9112 3", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", "505 closed",
     differs="nginx checks the target first.")
for version in ("http/1.1", "HTTP/1.", "HTTP/01.1", "HTTP/10.1", "HTTP/1.01", "HTTPS/1.1",
                "HTTP/1,1", "HTTP/+1.1", "HTTP/1.x"):
    case(f"version {version}", "9112 2.3", request(f"GET / {version}"), "400 closed",
         **({"differs": "A version is one digit, a dot, one digit; nginx parses numbers."}
            if version in ("HTTP/10.1", "HTTP/1.01") else {}))

group("Target forms")
case("origin form with a query", "9112 3.2.1", request("GET /?a=b&c HTTP/1.1"), "200 open")
case("origin form with an empty query", "9112 3.2.1", request("GET /? HTTP/1.1"), "200 open")
case("percent-encoded letter is the letter", "3986 6.2.2.2", text(body="").replace(
    "/text", "/%74ext"), "200 open", body=b"vondServer:")
case("encoded slash is no separator", "3986 2.2", request("GET /nowhere%2Fa HTTP/1.1"), "404 open")
case("percent sign without digits", "3986 2.1", request("GET /nowhere%zz HTTP/1.1"), "404 open",
     differs="No route here matches such a name; nginx decodes before matching.")
case("raw UTF-8 in the target", "3986 2.5", request("GET /nowhere/\xc3\xa4 HTTP/1.1"), "404 open")
case("unknown path", "9110 15.5.5", request("GET /nowhere HTTP/1.1"), "404 open")
case("two slashes are no authority", "3986 3.3", request("GET //text HTTP/1.1"), "404 open",
     differs="nginx merges slashes.")
case("dots above the root lead nowhere", "3986 5.2.4", request("GET /../text HTTP/1.1"),
     "404 open", differs="nginx responds with 400 to dots above the root.")
case("absolute form", "9112 3.2.2", request("GET http://a/ HTTP/1.1"), "200 open")
case("absolute form, other Host: the target rules", "9112 3.2.2",
     request("GET http://b/ HTTP/1.1"), "200 open")
case("absolute form with a port", "9112 3.2.2", request("GET http://a:8080/ HTTP/1.1"), "200 open")
case("absolute form with an IPv6 address", "3986 3.2.2", request("GET http://[::1]:80/ HTTP/1.1"),
     "200 open")
case("absolute form without a path", "9110 4.2.3", request("GET http://a HTTP/1.1"), "200 open")
case("absolute form, scheme in upper case", "3986 3.1", request("GET HTTP://a/ HTTP/1.1"),
     "200 open")
case("absolute form with https", "9112 3.2.2", request("GET https://a/ HTTP/1.1"), "200 open")
case("absolute form without a host", "9110 4.2.1", request("GET http:///x HTTP/1.1"), "400 closed")
case("absolute form with a user", "9110 4.2.4", request("GET http://u@a/ HTTP/1.1"), "400 closed")
case("absolute form does not replace Host", "9112 3.2.2",
     request("GET http://a/ HTTP/1.1", host=None), "400 closed")
case("asterisk form", "9112 3.2.4", request("OPTIONS * HTTP/1.1"), "404 open",
     differs="Well-formed, but no route matches; nginx does not support the form and responds "
             "with 400.")
case("asterisk with another method", "9112 3.2.4", request("GET * HTTP/1.1"), "400 closed")
case("authority form with another method", "9112 3.2.3", request("GET a:80 HTTP/1.1"),
     "400 closed")
case("path without a slash", "9112 3.2.1", request("GET text HTTP/1.1"), "400 closed")
case("query without a path", "9112 3.2.1", request("GET ?a HTTP/1.1"), "400 closed")

group("Host")
case("no Host", "9112 3.2", request("GET / HTTP/1.1", host=None), "400 closed")
case("two Hosts", "9112 3.2", request("GET / HTTP/1.1", "Host: b"), "400 closed")
case("the same Host twice", "9112 3.2", request("GET / HTTP/1.1", "Host: a"), "400 closed")
case("two Hosts in HTTP/1.0", "9112 3.2", request("GET / HTTP/1.0", "Host: b"), "400 closed")
case("empty Host", "9110 7.2", request("GET / HTTP/1.1", host=""), "200 open",
     differs="Correct for targets without an authority; nginx requires a name.")
for host in ("a:80", "a:", "[::1]", "[::1]:80", "127.0.0.1:8080", "a-b.c_d~e"):
    case(f"Host {host}", "9110 7.2", request("GET / HTTP/1.1", host=host), "200 open")
case("percent-encoded Host", "3986 3.2.2", request("GET / HTTP/1.1", host="%61"), "200 open")
for host in ("a b", "a/b", "u@a", "a:b", "a:80:80", "[::1", "a?b", "a#b", "%zz", "a\\b"):
    case(f"Host {host}", "9110 7.2", request("GET / HTTP/1.1", host=host), "400 closed",
         **({} if host in ("a b", "a/b") else
            {"differs": "nginx checks a host for slashes, control bytes and dots, not for "
                        "everything that a host cannot contain."}))
case("Host with a port that is too large", "9110 7.2",
     request("GET / HTTP/1.1", host="a:99999"), "200 open")
case("Host with an address in brackets that is none", "9110 7.2",
     request("GET / HTTP/1.1", host="[::zz]"), "200 open")

group("Fields")
case("no blank after the colon", "9112 5", request("GET / HTTP/1.1", "A:b"), "200 open")
case("blanks and tabs around a value", "9112 5.1", text("Content-Length: \t 3 \t", body="abc"),
     "200 open", body=b"vondServer:abc",
     differs="nginx accepts only spaces as white space and finds a tab in the length.")
case("empty value", "9110 5.5", request("GET / HTTP/1.1", "A:"), "200 open")
case("tab inside a value", "9110 5.5", request("GET / HTTP/1.1", "A: b\tc"), "200 open")
case("colon inside a value", "9110 5.5", request("GET / HTTP/1.1", "A: b:c"), "200 open")
case("bytes above 127 in a value", "9110 5.5", request("GET / HTTP/1.1", "A: \xe4\xff"), "200 open")
case("names do not heed case", "9110 5.1", text("cOnTeNt-LeNgTh: 3", body="abc"), "200 open",
     body=b"vondServer:abc")
case("every letter that a name may hold", "9110 5.6.2",
     request("GET / HTTP/1.1", "!#$%&'*+-.^_`|~09Az: x"), "200 open")
case("1000 fields", "9110 5.4", request("GET / HTTP/1.1", *(["A: b"] * 1000)), "200 open",
     differs="nginx also limits the number of fields; here only the size counts.")
case("blank before the colon", "9112 5.1", request("GET / HTTP/1.1", "A : b"), "400 closed")
case("tab before the colon", "9112 5.1", request("GET / HTTP/1.1", "A\t: b"), "400 closed")
case("no colon", "9112 5", request("GET / HTTP/1.1", "A"), "400 closed",
     differs="nginx drops fields whose names it considers invalid, and goes on.")
case("no name", "9110 5.1", request("GET / HTTP/1.1", ": b"), "400 closed")
for sign in "(/@[\xe4\"":
    case(f"name with {sign}", "9110 5.6.2", request("GET / HTTP/1.1", f"A{sign}B: c"),
         "400 closed", differs="nginx drops fields whose names it considers invalid, and goes "
                               "on.")
case("folded line", "9112 5.2", request("GET / HTTP/1.1", "A: b", " c"), "400 closed")
case("line folded with a tab", "9112 5.2", request("GET / HTTP/1.1", "A: b", "\tc"), "400 closed")
case("blank before the first field", "9112 2.2", "GET / HTTP/1.1\r\n Host: a\r\n\r\n",
     "400 closed")
case("blank before a later Host", "9112 2.2",
     "GET / HTTP/1.1\r\nA: b\r\n Host: a\r\n\r\n", "400 closed")
for name, byte in (("zero byte", "\0"), ("carriage return", "\r"), ("control byte", "\x01"),
                   ("delete byte", "\x7f"), ("vertical tab", "\x0b")):
    case(f"{name} in a value", "9110 5.5", request("GET / HTTP/1.1", f"A: b{byte}c"), "400 closed",
         **({} if byte in "\0\r" else
            {"differs": "A recipient may reject or replace such a byte; nginx accepts it."}))
case("line feed ends a field", "9112 2.2", "GET / HTTP/1.1\r\nHost: a\nA: b\r\n\r\n", "400 closed",
     differs=STRICT)
case("two carriage returns end a field", "9112 2.2", request("GET / HTTP/1.1", "A: b\r"),
     "400 closed",
     differs="A bare carriage return is invalid or counts as a space; nginx drops it.")
case("zero byte in a name", "9110 5.1", request("GET / HTTP/1.1", "A\0B: c"), "400 closed")
case("upgrade to HTTP/2 is not taken", "9110 7.8",
     request("GET / HTTP/1.1", "Connection: Upgrade, HTTP2-Settings", "Upgrade: h2c",
             "HTTP2-Settings: AAMAAABk"), "200 open")

group("Framing by length")
case("length", "9112 6.2", text("Content-Length: 3", body="abc"), "200 open",
     body=b"vondServer:abc")
case("length 0", "9112 6.2", text("Content-Length: 0"), "200 open", body=b"vondServer:")
case("neither length nor coding: no body", "9112 6.3", text(), "200 open", body=b"vondServer:")
case("leading zeros", "9110 8.6", text("Content-Length: 0003", body="abc"), "200 open",
     body=b"vondServer:abc")
case("40 leading zeros", "9110 8.6", text("Content-Length: " + "0" * 40 + "3", body="abc"),
     "200 open", body=b"vondServer:abc")
case("a body of GET is read", "9110 9.3.1",
     request("GET /text HTTP/1.1", "Content-Length: 3") + "abc" + OK, "200 200 open")
case("a body of DELETE is read", "9110 9.3.5",
     request("DELETE / HTTP/1.1", "Content-Length: 3") + "abc" + OK, "200 200 open")
case("a body for an unknown path is read", "9112 6.3",
     request("POST /nowhere HTTP/1.1", f"Content-Length: {len(OK)}") + OK + OK, "404 200 open")
case("a length that Connection names still counts", "9110 7.6.1",
     text("Connection: Content-Length", "Content-Length: 3", body="abc"), "200 open",
     body=b"vondServer:abc")
case("a name with an underscore is another name", "9110 5.1",
     text("Content_Length: 3") + OK, "200 200 open")
case("body in pieces", "9112 6.2",
     (text("Content-Length: 6", body="ab"), SILENCE, "cd", SILENCE, "ef"), "200 open",
     body=b"vondServer:abcdef")
case("bytes of any value in a body", "9112 6",
     text("Content-Length: 8", body="\0\r\n\r\n\xff\x01 "), "200 open")
case("what follows the length is the next request", "9112 6.3",
     text("Content-Length: 3", body="abcd") + "\r\n\r\n", "200 400 closed")
case("HTTP/1.0 with a length", "9112 6.3",
     request("POST /text HTTP/1.0", "Content-Length: 3") + "abc", "200 closed",
     body=b"vondServer:abc")
TWICE = "A recipient may accept a repeated identical length, or reject it as nginx does."
case("the same length twice", "9110 8.6",
     text("Content-Length: 3", "Content-Length: 3", body="abc"), "200 open",
     body=b"vondServer:abc", differs=TWICE)
case("the same length twice in one field", "9110 8.6", text("Content-Length: 3,3", body="abc"),
     "200 open", body=b"vondServer:abc", differs=TWICE)
for value in ("+3", "-3", "3 3", "3,", "3, 4", "0x3", "3.0", "3a", "a", "", ",", "3;", "\xb3",
              "18446744073709551616", "99999999999999999999999"):
    case(f"length “{value}”", "9112 6.3", text(f"Content-Length: {value}", body="abc"),
         "400 closed")
case("two lengths", "9112 6.3", text("Content-Length: 3", "Content-Length: 4", body="abcd"),
     "400 closed")
TOO_LARGE = ("The service says that it is done and closes its side; nginx, whose limit is configured, "
             "says 413 and reads on for a while.")
for value in ("9223372036854775807", "4294967296", "2147483648"):
    case(f"length too large to hold, {value}", "9110 15.5.14", text(f"Content-Length: {value}"),
         "413 closed", body=b"Request body too large", differs=TOO_LARGE)
case("length too large to hold, 18446744073709551615", "9110 15.5.14",
     text("Content-Length: 18446744073709551615"), "413 closed",
     differs="The length is well-formed, so the service says what is wrong with it; nginx "
             "reports an overflow.")
case("length too large to hold, in pieces", "9110 15.5.14",
     ("POST /text HTTP/1.1\r\nHo", SILENCE, "st: a\r\nContent-Length: 42949", SILENCE,
      "67296\r\n\r\n"), "413 closed", differs=TOO_LARGE)
case("length too large to hold, behind a request", "9110 15.5.14",
     (OK, ANSWER, text("Content-Length: 4294967296")), "200 413 closed", differs=TOO_LARGE)
case("length too large to hold, to be continued", "9110 10.1.1",
     text("Content-Length: 4294967296", "Expect: 100-continue"), "413 closed", differs=TOO_LARGE)

group("Chunked framing")
GOOD = "3\r\nabc\r\n0\r\n\r\n"
case("one chunk", "9112 7.1", chunked(GOOD), "200 open", body=b"vondServer:abc")
case("three chunks", "9112 7.1", chunked("1\r\na\r\n1\r\nb\r\n1\r\nc\r\n0\r\n\r\n"), "200 open",
     body=b"vondServer:abc")
case("no bytes at all", "9112 7.1", chunked("0\r\n\r\n"), "200 open", body=b"vondServer:")
case("sizes in either case", "9112 7.1",
     chunked("a\r\n0123456789\r\nA\r\n0123456789\r\n0\r\n\r\n"), "200 open")
case("size with leading zeros", "9112 7.1", chunked("0003\r\nabc\r\n000\r\n\r\n"), "200 open",
     body=b"vondServer:abc")
case("coding named in upper case", "9112 7", text("Transfer-Encoding: CHUNKED", body=GOOD),
     "200 open", body=b"vondServer:abc")
case("extension", "9112 7.1.1", chunked("3;a=b\r\nabc\r\n0\r\n\r\n"), "200 open",
     body=b"vondServer:abc")
case("extension with a quoted value", "9112 7.1.1", chunked("3;a=\"b;c\"\r\nabc\r\n0\r\n\r\n"),
     "200 open", body=b"vondServer:abc")
case("extension with blanks and an escaped quote", "9112 7.1.1",
     chunked("3 ; a = \"b\\\"c\"\r\nabc\r\n0\r\n\r\n"), "200 open", body=b"vondServer:abc")
case("trailer field", "9112 7.1.2", chunked("3\r\nabc\r\n0\r\nA: b\r\n\r\n"), "200 open",
     body=b"vondServer:abc")
case("trailer field does not frame", "9110 6.5.1",
     chunked("3\r\nabc\r\n0\r\nContent-Length: 99\r\n\r\n") + OK, "400 closed",
     differs="Senders must not put framing into a trailer, so it is rejected; nginx skips it.")
case("trailer field does not replace Host", "9110 6.5.1",
     chunked("0\r\nHost: b c\r\n\r\n"), "200 open")
case("chunks in pieces", "9112 7.1", (chunked("3"), SILENCE, "\r\nab", SILENCE, "c\r\n0\r\n\r\n"),
     "200 open", body=b"vondServer:abc")
case("GET with chunks", "9112 6",
     request("GET /text HTTP/1.1", "Transfer-Encoding: chunked") + GOOD + OK, "200 200 open")
case("OPTIONS with chunks", "9112 6",
     request("OPTIONS /text HTTP/1.1", "Transfer-Encoding: chunked") + GOOD + OK, "200 200 open")
for name, body in (("blank before the size", " 3\r\nabc\r\n0\r\n\r\n"),
                   ("sign before the size", "+3\r\nabc\r\n0\r\n\r\n"),
                   ("minus before the size", "-3\r\nabc\r\n0\r\n\r\n"),
                   ("size with 0x", "0x3\r\nabc\r\n0\r\n\r\n"),
                   ("size that is none", "g\r\nabc\r\n0\r\n\r\n"),
                   ("no size", "\r\nabc\r\n0\r\n\r\n"),
                   ("size of 17 digits", "10000000000000003\r\nabc\r\n0\r\n\r\n"),
                   ("data without an end", "3\r\nabc0\r\n\r\n\r\n"),
                   ("data ended by LF CR", "3\r\nabc\n\r0\r\n\r\n"),
                   ("data longer than its size", "3\r\nabcd\r\n0\r\n\r\n")):
    case(name, "9112 7.1", chunked(body), "400 closed")
for name, body in (("blank after the size", "3 \r\nabc\r\n0\r\n\r\n"),
                   ("size ended by a line feed", "3\nabc\r\n0\r\n\r\n"),
                   ("data ended by a line feed", "3\r\nabc\n0\r\n\r\n"),
                   ("last chunk ended by line feeds", "3\r\nabc\r\n0\n\n" + OK)):
    case(name, "9112 7.1", chunked(body), "400 closed", differs=STRICT)
case("line feed inside an extension", "9112 7.1.1", chunked("3;a\nb\r\nabc\r\n0\r\n\r\n"),
     "400 closed")
case("quote left open in an extension", "9112 7.1.1", chunked("3;a=\"b\r\nabc\r\n0\r\n\r\n"),
     "400 closed", differs="nginx ignores the contents of an extension.")
case("folded trailer", "9112 5.2", chunked("0\r\nA: b\r\n c\r\n\r\n"), "400 closed",
     differs="nginx ignores the contents of a trailer.")
case("chunk too large to hold, ffffffffffffffff", "9110 15.5.14",
     chunked("ffffffffffffffff\r\nabc"), "413 closed",
     differs="The size is well-formed, so the service says what is wrong with it; nginx reports "
             "an overflow.")
for value in ("ffffffff", "80000000"):
    case(f"chunk too large to hold, {value}", "9110 15.5.14", chunked(f"{value}\r\nabc"),
         "413 closed", body=b"Request body too large")
case("chunk too large to hold, in pieces", "9110 15.5.14",
     (chunked("ffff"), SILENCE, "ffff", SILENCE, "\r\nabc"), "413 closed")
case("chunks too large to hold together", "9110 15.5.14",
     chunked("3\r\nabc\r\n7fffffff\r\nabc"), "413 closed")
for value in ("chunked, chunked", "chunked, gzip", "identity", "gzip", "xchunked", "chunkedx",
              "chunked;q=1", "", "\"chunked\"", "chunked,", ", chunked",
              "chun\xe2\x84\xaaed"):
    case(f"Transfer-Encoding “{value}”", "9112 6.1",
         text(f"Transfer-Encoding: {value}", body=GOOD),
         "400 closed", differs="The end of the body would be a guess, so the framing is "
                               "malformed; nginx responds with 501 to every coding but a single "
                               "chunked.")
case("a coding before chunked", "9112 6.1", text("Transfer-Encoding: gzip, chunked", body=GOOD),
     "501 closed")
case("Transfer-Encoding twice", "9112 6.1",
     text("Transfer-Encoding: chunked", "Transfer-Encoding: chunked", body=GOOD), "400 closed")
case("chunked in HTTP/1.0", "9112 6.1",
     request("POST /text HTTP/1.0", "Transfer-Encoding: chunked") + GOOD, "400 closed")
case("length, then chunked", "9112 6.3", chunked(GOOD, "Content-Length: 3"), "400 closed")
case("chunked, then length", "9112 6.3",
     text("Content-Length: 3", "Transfer-Encoding: chunked", body=GOOD), "400 closed")

group("Persistence and pipelining")
case("two requests one after the other", "9112 9.3", (OK, ANSWER, OK), "200 200 open")
case("two requests at once", "9112 9.3.2", OK + OK, "200 200 open")
case("twenty requests at once", "9112 9.3.2", OK * 20, "200 " * 20 + "open")
case("pipelined behind a length", "9112 9.3.2", text("Content-Length: 3", body="abc") + OK,
     "200 200 open")
case("pipelined behind chunks", "9112 9.3.2", chunked(GOOD) + OK, "200 200 open")
case("pipelined behind HEAD", "9112 9.3.2", request("HEAD / HTTP/1.1") + OK, "200 200 open",
     heads=(0,))
case("pipelined behind an unknown path", "9112 9.3.2", request("GET /nowhere HTTP/1.1") + OK,
     "404 200 open")
case("malformed second request", "9112 9.3.2", OK + "nonsense\r\n\r\n", "200 400 closed")
case("second request in pieces", "9112 9.3.2", (OK + OK[:9], ANSWER, SILENCE, OK[9:]),
     "200 200 open")
case("asked to close", "9112 9.6", request("GET / HTTP/1.1", "Connection: close"), "200 closed")
case("asked to close, in upper case", "9110 7.6.1", request("GET / HTTP/1.1", "Connection: CLOSE"),
     "200 closed")
case("close among others", "9110 7.6.1", request("GET / HTTP/1.1", "Connection: x, close"),
     "200 closed")
case("close rules keep-alive", "9112 9.3",
     request("GET / HTTP/1.1", "Connection: keep-alive, close"), "200 closed")
case("close in a second field", "9110 5.3",
     request("GET / HTTP/1.1", "Connection: x", "Connection: close"), "200 closed")
case("nothing is answered behind close", "9112 9.6",
     request("GET / HTTP/1.1", "Connection: close") + OK, "200 closed")
case("bytes that come after the last answer", "9112 9.6",
     (request("GET / HTTP/1.1", "Connection: close"), ANSWER, "late"), "200 closed")
case("HTTP/1.0 asks to stay", "9112 9.3",
     request("GET / HTTP/1.0", "Connection: keep-alive"), "200 open")
case("HTTP/1.0 asks to stay, in other letters", "9110 7.6.1",
     request("GET / HTTP/1.0", "Connection: Keep-Alive"), "200 open")
case("HTTP/1.0 asks to stay, then does not", "9112 9.3",
     request("GET / HTTP/1.0", "Connection: keep-alive") + request("GET / HTTP/1.0"),
     "200 200 closed")
case("HTTP/1.0 asks to close", "9112 9.3", request("GET / HTTP/1.0", "Connection: close"),
     "200 closed")

group("100-continue and other expectations")
EXPECT = "Expect: 100-continue"
case("body still to come", "9110 10.1.1",
     (text("Content-Length: 3", EXPECT), ANSWER, "abc"), "100 200 open", body=b"vondServer:abc")
case("chunks still to come", "9110 10.1.1", (chunked("", EXPECT), ANSWER, GOOD), "100 200 open",
     body=b"vondServer:abc")
case("expected in other letters", "9110 10.1.1",
     (text("Content-Length: 3", "Expect: 100-Continue"), ANSWER, "abc"), "100 200 open")
case("body there already", "9110 10.1.1", text("Content-Length: 3", EXPECT, body="abc"),
     "200 open", differs="A server may omit the interim response when it has the body; nginx "
                         "sends it.")
case("late body that looks like a request", "9110 10.1.1",
     (text(f"Content-Length: {len(OK)}", EXPECT), ANSWER, OK), "100 200 open",
     body=b"vondServer:" + OK.encode())
case("expected twice", "9110 10.1.1", text("Content-Length: 3", EXPECT, EXPECT, body="abc"),
     "200 open", differs="nginx rejects a second Expect.")
case("expected without a body", "9110 10.1.1", text("Content-Length: 0", EXPECT), "200 open",
     differs="nginx sends the interim response even if no body will follow.")
case("expected in HTTP/1.0", "9110 10.1.1",
     (request("POST /text HTTP/1.0", "Content-Length: 3", EXPECT), SILENCE, "abc"), "200 closed")
case("unknown expectation", "9110 10.1.1",
     text("Content-Length: 3", "Expect: tea", body="abc"), "417 closed",
     differs="A server may respond with 417; nginx ignores it.")
case("unknown expectation among others", "9110 10.1.1",
     text("Content-Length: 3", "Expect: 100-continue, tea", body="abc"), "417 closed",
     differs="A server may respond with 417; nginx ignores it.")
case("empty expectation", "9110 5.6.1", text("Content-Length: 3", "Expect:", body="abc"),
     "200 open")
case("empty member next to the expectation", "9110 5.6.1",
     (text("Content-Length: 3", EXPECT + ","), ANSWER, "abc"), "100 200 open",
     differs="nginx compares the whole value, and ignores any other.")
case("malformed head is rejected at once", "9110 10.1.1",
     request("POST /text HTTP/1.1", "Content-Length: 3", EXPECT, host=None), "400 closed")

group("HEAD")
case("HEAD", "9110 9.3.2", request("HEAD / HTTP/1.1"), "200 open", heads=(0,))
case("HEAD of an unknown path", "9110 9.3.2", request("HEAD /nowhere HTTP/1.1"), "404 open",
     heads=(0,))
case("HEAD with a body", "9110 9.3.2",
     request("HEAD / HTTP/1.1", "Content-Length: 3") + "abc" + OK, "200 200 open", heads=(0,))
case("rejected HEAD has no body", "9110 9.3.2", request("HEAD / HTTP/1.1", host=None), "400 closed",
     heads=(0,))
case("HEAD rejected for its version has no body", "9110 9.3.2", request("HEAD / HTTP/2.0"),
     "505 closed", heads=(0,))
case("HEAD rejected for a byte in its target has no body", "9110 9.3.2",
     request("HEAD /\x01 HTTP/1.1"), "400 closed", heads=(0,))
case("HEAD with a target of 70000 bytes", "9110 9.3.2",
     request("HEAD /" + "x" * 70000 + " HTTP/1.1"), "431 closed", heads=(0,), differs=LIMIT)

group("Limits")
case("head of 64 KiB", "contract",
     request("GET / HTTP/1.1", "A: " + "b" * (65536 - len(OK) - 5)), "200 open", differs=LIMIT)
case("head of 64 KiB and a byte", "9110 5.4",
     request("GET / HTTP/1.1", "A: " + "b" * (65536 - len(OK) - 4)), "431 closed", differs=LIMIT)
case("target of 60000 bytes", "9112 3", request("GET /nowhere" + "x" * 60000 + " HTTP/1.1"),
     "404 open", differs=LIMIT)
case("target of 70000 bytes", "9110 15.5.15", request("GET /" + "x" * 70000 + " HTTP/1.1"),
     "431 closed", differs=LIMIT)
case("many fields of 70000 bytes together", "9110 5.4",
     request("GET / HTTP/1.1", *(["A: " + "b" * 93] * 700)), "431 closed", differs=LIMIT)
case("head that never ends", "9110 5.4", "GET / HTTP/1.1\r\nA: " + "b" * 200000, "431 closed",
     differs=LIMIT)
case("chunk extension of 100000 bytes", "9112 7.1.1",
     chunked("3;" + "a" * 100000 + "\r\nabc\r\n0\r\n\r\n"), "431 closed",
     differs="nginx skips extensions of any length.")
case("trailer of 100000 bytes", "9112 7.1.2",
     chunked("0\r\n" + ("A: " + "b" * 93 + "\r\n") * 1000 + "\r\n"), "431 closed",
     differs="nginx skips trailers of any length.")
case("body of 8 MiB", "9112 6.2", text("Content-Length: 8388608", body="x" * 8388608), "200 open")

group("Half-close and early close")
case("half-close behind a request", "9293 3.6", (OK, HALF_CLOSE), "200 closed")
case("half-close behind two requests", "9293 3.6", (OK + OK, HALF_CLOSE), "200 200 closed")
case("half-close behind a body", "9293 3.6",
     (text("Content-Length: 3", body="abc"), HALF_CLOSE), "200 closed", body=b"vondServer:abc")
case("half-close at once", "9293 3.6", (HALF_CLOSE,), "closed")
case("half-close inside the request line", "9112 8", ("GET / HT", HALF_CLOSE), "closed")
case("half-close inside the fields", "9112 8", ("GET / HTTP/1.1\r\nHost: a\r\n", HALF_CLOSE),
     "closed")
case("half-close inside a body", "9112 8", (text("Content-Length: 9", body="abc"), HALF_CLOSE),
     "closed")
case("half-close inside a chunk", "9112 8", (chunked("9\r\nabc"), HALF_CLOSE), "closed")
case("half-close before the last chunk", "9112 8", (chunked("3\r\nabc\r\n"), HALF_CLOSE), "closed")
case("half-close inside a trailer", "9112 8", (chunked("0\r\nA: b\r\n"), HALF_CLOSE), "closed")
case("half-close instead of a body", "9112 8",
     (text("Content-Length: 3", EXPECT), ANSWER, HALF_CLOSE), "100 closed")
case("reset inside the fields", "9112 9.5", ("GET / HTTP/1.1\r\n", RESET), "gone")
case("reset inside a body", "9112 9.5", (text("Content-Length: 9", body="abc"), RESET), "gone")
case("reset inside a chunk", "9112 9.5", (chunked("9\r\nabc"), RESET), "gone")
case("reset behind a request", "9112 9.5", (OK, RESET), "gone")
