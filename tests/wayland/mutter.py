"""The calls of mutter's own D-Bus interfaces that the test desktop uses: its monitors, pictures of them, input."""
from __future__ import annotations

from typing import Any, Callable

from gi.repository import Gio, GLib

SCREEN_CAST = "org.gnome.Mutter.ScreenCast"
REMOTE_DESKTOP = "org.gnome.Mutter.RemoteDesktop"
DISPLAY_CONFIG = "org.gnome.Mutter.DisplayConfig"
TIMEOUT_MS = 5000


def path_of(interface: str) -> str:
    return "/" + interface.replace(".", "/")


def call(bus: Gio.DBusConnection, name: str, path: str, method: str, arguments: GLib.Variant | None = None) -> Any:
    """Calls `method` ("INTERFACE.MEMBER") and returns the unpacked results. Raises GLib.Error."""
    interface, member = method.rsplit(".", 1)
    flags = Gio.DBusCallFlags.NO_AUTO_START
    reply = bus.call_sync(name, path, interface, member, arguments, None, flags, TIMEOUT_MS, None)
    return reply.unpack()


class Displays:
    """The monitors of the desktop."""

    def __init__(self, bus: Gio.DBusConnection) -> None:
        self.bus = bus

    def state(self) -> Any:
        return call(self.bus, DISPLAY_CONFIG, path_of(DISPLAY_CONFIG), f"{DISPLAY_CONFIG}.GetCurrentState")

    def connectors(self) -> list[str]:
        return [monitor[0][0] for monitor in self.state()[1]]

    def layout(self) -> list[dict[str, Any]]:
        """Each monitor with its mode's size in pixels, and its place, scale and transform in the layout."""
        _, monitors, logical, _ = self.state()
        found = []
        for (connector, *_), modes, _ in monitors:
            size = next(list(mode[1:3]) for mode in modes if mode[6].get("is-current"))
            for x, y, scale, transform, _, members, _ in logical:
                if any(member[0] == connector for member in members):
                    place = {"position": [x, y], "scale": scale, "transform": transform}
                    found.append({"connector": connector, "pixels": size, **place})
        return found

    def configure(self, index: int, scale: float | None = None, transform: int | None = None) -> None:
        """Gives one monitor another scale or transform (1: a quarter turn) and puts all side by side again."""
        serial, monitors, _, _ = self.state()
        x = 0
        rows = []
        for number, monitor in enumerate(self.layout()):
            if number == index:
                monitor["scale"] = monitor["scale"] if scale is None else scale
                monitor["transform"] = monitor["transform"] if transform is None else transform
            modes = next(modes for spec, modes, _ in monitors if spec[0] == monitor["connector"])
            mode, scales = next((mode[0], mode[5]) for mode in modes if mode[6].get("is-current"))
            # The desktop takes the scales that it offers alone, to the last digit.
            factor = min(scales, key=lambda each: abs(each - monitor["scale"]))
            rows.append((x, 0, factor, monitor["transform"], number == 0, [(monitor["connector"], mode, {})]))
            width = monitor["pixels"][monitor["transform"] % 2]
            x += round(width / factor)
        arguments = GLib.Variant("(uua(iiduba(ssa{sv}))a{sv})", (serial, 1, rows, {}))
        call(self.bus, DISPLAY_CONFIG, path_of(DISPLAY_CONFIG), f"{DISPLAY_CONFIG}.ApplyMonitorsConfig", arguments)


class Seat:
    """A keyboard and a pointer of the desktop's own, as a machine has them: programs know both from their start."""

    UNKNOWN_KEY = 240  # A key without a meaning.

    def __init__(self, bus: Gio.DBusConnection) -> None:
        self.bus = bus
        (self.session,) = call(bus, REMOTE_DESKTOP, path_of(REMOTE_DESKTOP), f"{REMOTE_DESKTOP}.CreateSession")
        self._call("Start")
        for pressed in (True, False):
            self._call("NotifyKeyboardKeycode", GLib.Variant("(ub)", (self.UNKNOWN_KEY, pressed)))
        self._call("NotifyPointerMotionRelative", GLib.Variant("(dd)", (1, 1)))

    def _call(self, member: str, arguments: GLib.Variant | None = None) -> None:
        call(self.bus, REMOTE_DESKTOP, self.session, f"{REMOTE_DESKTOP}.Session.{member}", arguments)

    def stop(self) -> None:
        """Safe to call when the compositor has ended."""
        flags = Gio.DBusCallFlags.NO_AUTO_START
        interface = f"{REMOTE_DESKTOP}.Session"
        self.bus.call(REMOTE_DESKTOP, self.session, interface, "Stop", None, None, flags, TIMEOUT_MS, None, None)


class Sharing:
    """Monitors as PipeWire streams and, with `control`, the input of the desktop."""

    def __init__(
        self,
        bus: Gio.DBusConnection,
        connectors: list[str],
        cursor_mode: int,
        control: bool,
        closed: Callable[[], None],
    ) -> None:
        """Asks for the streams; `ready` is called once all have a node, `closed` when mutter ends them."""
        self.bus = bus
        self.session = ""  # The object that starts and stops all of it.
        self.interface = f"{REMOTE_DESKTOP}.Session" if control else f"{SCREEN_CAST}.Session"
        self.name = REMOTE_DESKTOP if control else SCREEN_CAST
        self.paths: list[str] = []
        self.nodes: dict[str, int] = {}
        self.ready: Callable[[], None] | None = None
        self.subscriptions: list[int] = []
        options = {"disable-animations": GLib.Variant("b", True)}
        if control:
            (self.session,) = call(bus, REMOTE_DESKTOP, path_of(REMOTE_DESKTOP), f"{REMOTE_DESKTOP}.CreateSession")
            get = GLib.Variant("(ss)", (self.interface, "SessionId"))
            (identity,) = call(bus, REMOTE_DESKTOP, self.session, "org.freedesktop.DBus.Properties.Get", get)
            options["remote-desktop-session-id"] = GLib.Variant("s", identity)
        arguments = GLib.Variant("(a{sv})", (options,))
        (cast,) = call(bus, SCREEN_CAST, path_of(SCREEN_CAST), f"{SCREEN_CAST}.CreateSession", arguments)
        self.session = self.session or cast
        for connector in connectors:
            record = GLib.Variant("(sa{sv})", (connector, {"cursor-mode": GLib.Variant("u", cursor_mode)}))
            (path,) = call(bus, SCREEN_CAST, cast, f"{SCREEN_CAST}.Session.RecordMonitor", record)
            self.paths.append(path)
            self._subscribe(f"{SCREEN_CAST}.Stream", "PipeWireStreamAdded", path, self._on_node)
        self._subscribe(self.interface, "Closed", self.session, lambda *_: closed())

    def _subscribe(self, interface: str, member: str, path: str, then: Callable[..., None]) -> None:
        flags = Gio.DBusSignalFlags.NONE
        self.subscriptions.append(self.bus.signal_subscribe(None, interface, member, path, None, flags, then))

    def _on_node(
        self, _bus: Any, _sender: str, path: str, _interface: str, _member: str, arguments: GLib.Variant
    ) -> None:
        (self.nodes[path],) = arguments.unpack()
        if self.ready and len(self.nodes) == len(self.paths):
            self.ready()

    def start(self, ready: Callable[[], None]) -> None:
        self.ready = ready
        call(self.bus, self.name, self.session, f"{self.interface}.Start")

    def streams(self) -> list[tuple[int, dict[str, GLib.Variant]]]:
        """As the portal's caller receives them: each node with its place in the layout and its size there."""
        result = []
        for path in self.paths:
            get = GLib.Variant("(ss)", (f"{SCREEN_CAST}.Stream", "Parameters"))
            (parameters,) = call(self.bus, SCREEN_CAST, path, "org.freedesktop.DBus.Properties.Get", get)
            properties = {"source_type": GLib.Variant("u", 1)}
            for key in ("position", "size"):
                if key in parameters:
                    properties[key] = GLib.Variant("(ii)", tuple(parameters[key]))
            result.append((self.nodes[path], properties))
        return result

    def path_of_node(self, node: int) -> str | None:
        return next((path for path, each in self.nodes.items() if each == node), None)

    def notify(self, member: str, arguments: GLib.Variant, failed: Callable[[str], None]) -> None:
        """Passes an input event on without waiting."""

        def done(bus: Gio.DBusConnection, result: Gio.AsyncResult) -> None:
            try:
                bus.call_finish(result)
            except GLib.Error as error:
                failed(error.message)

        flags = Gio.DBusCallFlags.NO_AUTO_START
        self.bus.call(self.name, self.session, self.interface, member, arguments, None, flags, TIMEOUT_MS, None, done)

    def stop(self) -> None:
        for subscription in self.subscriptions:
            self.bus.signal_unsubscribe(subscription)
        self.subscriptions.clear()
        self.ready = None
        flags = Gio.DBusCallFlags.NO_AUTO_START
        self.bus.call(self.name, self.session, self.interface, "Stop", None, None, flags, TIMEOUT_MS, None, None)
