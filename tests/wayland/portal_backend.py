"""The desktop's side of its portals over mutter, with a user who answers as a test says."""
from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, Callable

from gi.repository import Gio, GLib

from mutter import Displays, Sharing

NAME = "org.freedesktop.impl.portal.desktop.vantora_test"
PATH = "/org/freedesktop/portal/desktop"
ANSWERS = ("yes", "no", "view-only", "late", "never")
VENDOR = "vantora-test"
SUCCESS, CANCELLED, ENDED = 0, 1, 2
KEYBOARD, POINTER = 1, 2

_SETUP = """
    <method name="CreateSession">
      <arg type="o" name="handle" direction="in"/><arg type="o" name="session_handle" direction="in"/>
      <arg type="s" name="app_id" direction="in"/><arg type="a{sv}" name="options" direction="in"/>
      <arg type="u" name="response" direction="out"/><arg type="a{sv}" name="results" direction="out"/>
    </method>
    <method name="SELECT">
      <arg type="o" name="handle" direction="in"/><arg type="o" name="session_handle" direction="in"/>
      <arg type="s" name="app_id" direction="in"/><arg type="a{sv}" name="options" direction="in"/>
      <arg type="u" name="response" direction="out"/><arg type="a{sv}" name="results" direction="out"/>
    </method>
    <method name="Start">
      <arg type="o" name="handle" direction="in"/><arg type="o" name="session_handle" direction="in"/>
      <arg type="s" name="app_id" direction="in"/><arg type="s" name="parent_window" direction="in"/>
      <arg type="a{sv}" name="options" direction="in"/>
      <arg type="u" name="response" direction="out"/><arg type="a{sv}" name="results" direction="out"/>
    </method>
    <property name="version" type="u" access="read"/>
"""

# The input calls and the types of their arguments after the session and the options.
_NOTIFY = {
    "NotifyPointerMotion": "dd",
    "NotifyPointerMotionAbsolute": "udd",
    "NotifyPointerButton": "iu",
    "NotifyPointerAxis": "dd",
    "NotifyPointerAxisDiscrete": "ui",
    "NotifyKeyboardKeycode": "iu",
    "NotifyKeyboardKeysym": "iu",
}


def _notify_methods() -> str:
    methods = []
    for name, types in _NOTIFY.items():
        arguments = "".join(f'<arg type="{each}" direction="in"/>' for each in ("o", "a{sv}", *types))
        methods.append(f'<method name="{name}">{arguments}</method>')
    return "".join(methods)


_INTERFACES = f"""<node>
  <interface name="org.freedesktop.impl.portal.ScreenCast">{_SETUP.replace("SELECT", "SelectSources")}
    <property name="AvailableSourceTypes" type="u" access="read"/>
    <property name="AvailableCursorModes" type="u" access="read"/>
  </interface>
  <interface name="org.freedesktop.impl.portal.RemoteDesktop">
    {_SETUP.replace("SELECT", "SelectDevices")}{_notify_methods()}
    <property name="AvailableDeviceTypes" type="u" access="read"/>
  </interface>
  <interface name="org.freedesktop.impl.portal.Session">
    <method name="Close"/><signal name="Closed"/><property name="version" type="u" access="read"/>
  </interface>
  <interface name="org.freedesktop.impl.portal.Request"><method name="Close"/></interface>
</node>"""
_NODE = Gio.DBusNodeInfo.new_for_xml(_INTERFACES)


@dataclass
class Session:
    path: str
    control: bool  # Made by RemoteDesktop.
    devices: int = 0
    multiple: bool = False
    cursor_mode: int = 1
    persist_mode: int = 0
    restore_data: Any = None
    granted_devices: int = 0
    sharing: Sharing | None = None
    registrations: list[int] = field(default_factory=list)


@dataclass
class Question:
    session: Session
    handle: str
    reply: Callable[[int, dict[str, GLib.Variant]], None]


class Backend:
    """All calls on the thread of the main loop. `tell` receives what happens, as dictionaries for the test."""

    def __init__(self, bus: Gio.DBusConnection, control: bool, tell: Callable[[dict[str, Any]], None]) -> None:
        self.bus = bus
        self.tell = tell
        self.displays = Displays(bus)
        self.answer = "yes"
        self.chosen: list[int] | None = None  # The monitors that the user chooses; all of them if None.
        self.generation = 1  # What restore data must have to be known.
        self.asked = 0
        self.sessions: dict[str, Session] = {}
        self.waiting: list[Question] = []
        names = ["ScreenCast", "RemoteDesktop"] if control else ["ScreenCast"]
        for name in names:
            self._register(PATH, f"org.freedesktop.impl.portal.{name}", self._on_call)
        Gio.bus_own_name_on_connection(bus, NAME, Gio.BusNameOwnerFlags.NONE, None, None)
        for name in ("org.freedesktop.portal.Desktop", "org.gnome.Mutter.ScreenCast"):
            flags = Gio.BusNameWatcherFlags.NONE
            Gio.bus_watch_name_on_connection(bus, name, flags, None, lambda *_: self.close_sessions())

    def _register(self, path: str, interface: str, on_call: Callable[..., None]) -> int:
        return self.bus.register_object(path, _NODE.lookup_interface(interface), on_call, self._on_get, None)

    def _on_get(self, _bus: Any, _sender: str, _path: str, interface: str, name: str) -> GLib.Variant:
        versions = {"ScreenCast": 4, "RemoteDesktop": 1, "Session": 1}
        values = {"AvailableSourceTypes": 1, "AvailableCursorModes": 7, "AvailableDeviceTypes": KEYBOARD | POINTER}
        return GLib.Variant("u", versions[interface.rsplit(".", 1)[1]] if name == "version" else values[name])

    def _on_call(
        self, _bus: Any, _sender: str, _path: str, interface: str, member: str, arguments: GLib.Variant, invocation: Any
    ) -> None:
        values = arguments.unpack()
        if member.startswith("Notify"):
            invocation.return_value(None)
            self._notify(member, values)
            return

        def reply(response: int, results: dict[str, GLib.Variant]) -> None:
            invocation.return_value(GLib.Variant("(ua{sv})", (response, results)))

        handle, path = values[0], values[1]
        if member == "CreateSession":
            self._create(path, interface.endswith("RemoteDesktop"))
            reply(SUCCESS, {"session_id": GLib.Variant("s", path.rsplit("/", 1)[1])})
            return
        session = self.sessions.get(path)
        if session is None:
            reply(ENDED, {})
        elif member == "SelectSources":
            options = values[3]
            session.multiple = options.get("multiple", False)
            session.cursor_mode = options.get("cursor_mode", 1)
            session.persist_mode = options.get("persist_mode", 0)
            session.restore_data = options.get("restore_data")
            reply(SUCCESS, {})
        elif member == "SelectDevices":
            session.devices = values[3].get("types", KEYBOARD | POINTER) & (KEYBOARD | POINTER)
            reply(SUCCESS, {})
        else:
            self._start(Question(session, handle, reply))

    def _create(self, path: str, control: bool) -> None:
        session = Session(path, control)
        self.sessions[path] = session

        def on_call(*arguments: Any) -> None:
            arguments[-1].return_value(None)
            self._end(session)

        session.registrations.append(self._register(path, "org.freedesktop.impl.portal.Session", on_call))
        self.tell({"event": "session", "control": control})

    def _start(self, question: Question) -> None:
        restored = self._restored(question.session)
        if restored is not None:
            self.tell({"event": "restored"})
            self._share(question, restored, question.session.devices)
            return
        self.asked += 1
        self.tell({"event": "question", "control": question.session.control, "asked": self.asked})
        if self.answer in ("late", "never"):
            self._wait(question)
        else:
            self._decide(question, self.answer)

    def _restored(self, session: Session) -> list[str] | None:
        """The connectors that were chosen earlier, if the session names them and all are there."""
        if session.restore_data is None:
            return None
        vendor, version, (generation, connectors) = session.restore_data
        known = vendor == VENDOR and version == 1 and generation == self.generation
        return connectors if known and set(connectors) <= set(self.displays.connectors()) else None

    def _wait(self, question: Question) -> None:
        def on_call(*arguments: Any) -> None:
            arguments[-1].return_value(None)
            if question in self.waiting:
                self.tell({"event": "withdrawn"})
                self._drop(question)

        self.waiting.append(question)
        registration = self._register(question.handle, "org.freedesktop.impl.portal.Request", on_call)
        question.session.registrations.append(registration)

    def _drop(self, question: Question) -> None:
        self.waiting.remove(question)
        self.bus.unregister_object(question.session.registrations.pop())
        question.reply(ENDED, {})

    def decide(self, answer: str) -> int:
        """Answers every waiting question; returns how many there were."""
        questions, self.waiting = self.waiting, []
        for question in questions:
            self.bus.unregister_object(question.session.registrations.pop())
            self._decide(question, answer)
        return len(questions)

    def _decide(self, question: Question, answer: str) -> None:
        if answer == "no":
            question.reply(CANCELLED, {})
            return
        connectors = self.displays.connectors()
        if self.chosen is not None:
            connectors = [connectors[index] for index in self.chosen]
        if not question.session.multiple:
            connectors = connectors[:1]
        self._share(question, connectors, 0 if answer == "view-only" else question.session.devices)

    def _share(self, question: Question, connectors: list[str], devices: int) -> None:
        session = question.session
        modes = {1: 0, 2: 1, 4: 2}  # Hidden, embedded, metadata.

        def ready() -> None:
            results = {"streams": GLib.Variant("a(ua{sv})", session.sharing.streams())}
            if session.control:
                results["devices"] = GLib.Variant("u", devices)
            elif session.persist_mode:
                data = GLib.Variant("(uas)", (self.generation, connectors))
                results["persist_mode"] = GLib.Variant("u", session.persist_mode)
                results["restore_data"] = GLib.Variant("(suv)", (VENDOR, 1, data))
            self.tell({"event": "started", "devices": devices, "connectors": connectors})
            question.reply(SUCCESS, results)

        try:
            session.granted_devices = devices
            mode = modes[session.cursor_mode]
            session.sharing = Sharing(self.bus, connectors, mode, session.control, lambda: self._lose(session))
            session.sharing.start(ready)
        except GLib.Error as error:
            self.tell({"event": "failed", "error": error.message})
            question.reply(ENDED, {})

    def _notify(self, member: str, values: tuple[Any, ...]) -> None:
        path, _, *rest = values
        session = self.sessions.get(path)
        if session is None or session.sharing is None or not session.granted_devices:
            self.tell({"event": "refused-input", "call": member})
            return
        types = _NOTIFY[member]
        if member == "NotifyPointerMotionAbsolute":
            stream = session.sharing.path_of_node(rest[0])
            if stream is None:
                return
            types, rest = "sdd", [stream, *rest[1:]]
        elif member == "NotifyPointerAxis":
            types, rest = "ddu", [*rest, 1 if values[1].get("finish") else 0]
        elif member == "NotifyPointerButton":
            types, rest = "ib", [rest[0], bool(rest[1])]
        elif member.startswith("NotifyKeyboard"):
            types, rest = "ub", [rest[0], bool(rest[1])]
        if member == "NotifyPointerMotion":
            member = "NotifyPointerMotionRelative"
        arguments = GLib.Variant(f"({types})", tuple(rest))
        failed = {"event": "failed", "call": member}
        session.sharing.notify(member, arguments, lambda error: self.tell({**failed, "error": error}))

    def close_sessions(self) -> int:
        """Ends all sharing as the desktop may at any time; returns how many sessions there were."""
        sessions = list(self.sessions.values())
        for session in sessions:
            self._lose(session)
        return len(sessions)

    def _lose(self, session: Session) -> None:
        if session.path in self.sessions:
            self.bus.emit_signal(None, session.path, "org.freedesktop.impl.portal.Session", "Closed", None)
            self._end(session)

    def _end(self, session: Session) -> None:
        if self.sessions.pop(session.path, None) is None:
            return
        for question in [each for each in self.waiting if each.session is session]:
            self._drop(question)
        for registration in session.registrations:
            self.bus.unregister_object(registration)
        if session.sharing:
            session.sharing.stop()
        self.tell({"event": "closed"})
