"""Who may speak to the page: this machine's user, in the window that the program has opened."""

from __future__ import annotations

import hmac
import secrets

from aiohttp import web

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Awaitable, Callable

    Handler = Callable[[web.Request], Awaitable[web.StreamResponse]]

MOST_BYTES = 5 << 20  # of one request
_NAMES = ("127.0.0.1", "localhost", "[::1]")
_HEADERS = {
    "Content-Security-Policy": "default-src 'self'; img-src 'self' data: blob:; object-src 'none'; "
                               "base-uri 'none'; form-action 'none'; frame-ancestors 'none'",
    "X-Content-Type-Options": "nosniff", "X-Frame-Options": "DENY",
    "Referrer-Policy": "no-referrer", "Cross-Origin-Opener-Policy": "same-origin",
    "Cross-Origin-Resource-Policy": "same-origin"}


class Guard:
    """Lets pass what comes from the page itself: the right Host, no foreign Origin, the token.

    token: 128 random bits; it stands in the address that is opened, and from then on in a cookie.
    port: set once it is known.
    """

    def __init__(self) -> None:
        self.token = secrets.token_hex(16)
        self.port = 0

    @property
    def address(self) -> str:
        """What to open."""
        return f"http://127.0.0.1:{self.port}/?token={self.token}"

    @property
    def cookie(self) -> str:
        """Its name; cookies know no ports, so that two pages need two."""
        return f"orbitrax_{self.port}"

    def reason(self, request: web.Request) -> str | None:
        """Why a request is refused, None for one that passes."""
        hosts = [f"{name}:{self.port}" for name in _NAMES]
        if request.headers.get("Host", "") not in hosts:
            return "this page answers to its own address only"
        origin = request.headers.get("Origin")
        if origin is not None and origin not in [f"http://{host}" for host in hosts]:
            return "another site has asked; this page answers to itself only"
        if request.headers.get("Sec-Fetch-Site") == "cross-site" and request.path != "/":
            return "another site has asked; this page answers to itself only"
        if request.method not in ("GET", "HEAD") and request.content_type != "application/json":
            return "only JSON is taken"
        if not self._knows(request):
            return ("the address lacks the word that opens this page; use the whole address that "
                    "'orbitrax serve' has printed")
        return None

    def _knows(self, request: web.Request) -> bool:
        given = [request.cookies.get(self.cookie, "")]
        if request.path == "/" and request.method == "GET":
            given.append(request.query.get("token", ""))
        return any(hmac.compare_digest(one.encode(), self.token.encode()) for one in given)

    def middleware(self) -> Callable[[web.Request, Handler], Awaitable[web.StreamResponse]]:
        """What stands before all that the page answers."""
        @web.middleware
        async def guarded(request: web.Request, handler: Handler) -> web.StreamResponse:
            reason = self.reason(request)
            if reason is not None:
                return web.json_response({"error": {"text": reason}}, status=403)
            try:
                return await handler(request)
            except web.HTTPException as error:
                if error.status < 400:
                    raise
                return web.json_response({"error": {"text": _text(error)}}, status=error.status)

        return guarded


def _text(error: web.HTTPException) -> str:
    if error.status == 413:
        return f"more than {MOST_BYTES >> 20} MB are not taken; use the command line"
    return error.text or error.reason


async def add_headers(request: web.Request, response: web.StreamResponse) -> None:
    """What each answer says of itself."""
    response.headers.update(_HEADERS)
    response.headers.setdefault("Cache-Control", "no-store")
