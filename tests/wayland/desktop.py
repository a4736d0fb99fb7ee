#!/usr/bin/python3 -B
"""A whole Wayland desktop without a screen: desktop.py [OPTION]... (see --help)

Starts, in a folder of its own, a message bus, PipeWire, the compositor and the portals, with a scripted user in place
of their dialogs. Once everything answers, one line of JSON on standard output holds the environment for programs on it:
{"ready": true, "env": {...}, "pids": {...}, "milliseconds": n}. Then each line on standard input is a command, answered
by one line {"answer": ...} or {"error": text}; what happens meanwhile is told in lines {"event": ...}. The end of
standard input ends all of it, as does a signal.

  answer yes|no|view-only|late|never   what the user says to questions from now on; late and never leave them open
  decide yes|no|view-only              answers the open questions: their number
  questions                            {"asked", "waiting"}; a restored permission is no question
  sessions                             [{"control", "devices", "streams"}]
  choose all|INDEX...                  the monitors that the user chooses
  forget                               earlier permissions are not restored any more
  close-session                        the desktop takes sharing back: the number of sessions
  displays                             [{"connector", "pixels", "position", "scale", "transform"}]
  scale INDEX FACTOR, turn INDEX QUARTERS
  kill NAME                            SIGKILL; NAME: pipewire, wireplumber, compositor, portal, permissions
  start NAME                           starts it again: {"pid", "env"}; another compositor has another X display
"""
from __future__ import annotations

import argparse
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path
from typing import Any, Callable

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

import mutter  # noqa: E402
import portal_backend  # noqa: E402

DEADLINE_S = 30
HERE = Path(__file__).resolve().parent


class Desktop:
    def __init__(self, options: argparse.Namespace) -> None:
        self.options = options
        self.began = time.monotonic()
        self.home = Path(tempfile.mkdtemp(prefix="vantora-wayland-"))
        self.children: dict[str, subprocess.Popen[bytes]] = {}
        self.env = {
            "XDG_RUNTIME_DIR": str(self.home),
            "DBUS_SESSION_BUS_ADDRESS": f"unix:path={self.home}/bus",
            "XDG_SESSION_TYPE": "wayland",
            "XDG_CURRENT_DESKTOP": "GNOME",
            "WAYLAND_DISPLAY": "wayland-0",
            "GSETTINGS_BACKEND": "memory",
        }
        # What only the desktop's own programs see.
        self.inside = {
            "PATH": os.environ["PATH"],
            "HOME": str(self.home / "home"),
            "LANG": "C.UTF-8",
            "XDG_DATA_DIRS": "/usr/local/share:/usr/share",
            "XDG_DESKTOP_PORTAL_DIR": str(self.home / "portals"),
            "GIO_USE_VFS": "local",
            "MUTTER_DEBUG_DISABLE_ANIMATIONS": "1",  # Windows would grow and fade in.
        }
        self.loop = GLib.MainLoop()
        self.ended = False
        self.bus: Gio.DBusConnection
        self.backend: portal_backend.Backend | None = None
        self.seat: mutter.Seat | None = None

    def tell(self, line: dict[str, Any]) -> None:
        print(json.dumps(line), flush=True)

    def until(self, holds: Callable[[], Any], what: str, *needed: str) -> Any:
        """Runs the main loop until `holds` returns something; fails when a child that is needed for it has ended."""
        end = time.monotonic() + DEADLINE_S
        context = GLib.MainContext.default()
        while True:
            while context.iteration(False):
                pass
            if self.ended:
                raise RuntimeError(f"ended while {what} was waited for")
            result = holds()
            if result:
                return result
            for name in needed:
                if self.children[name].poll() is not None:
                    raise RuntimeError(f"{name} ended while {what} was waited for:\n{self.log(name)}")
            if time.monotonic() > end:
                raise RuntimeError(f"waited in vain for {what}:\n" + "\n".join(self.log(name) for name in needed))
            time.sleep(0.005)

    def log(self, name: str) -> str:
        path = self.home / f"{name}.log"
        return path.read_text(errors="replace") if path.exists() else ""

    def spawn(self, name: str, command: list[str]) -> None:
        with open(self.home / f"{name}.log", "wb") as log:
            # Should this program be killed, the kernel ends the child.
            self.children[name] = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", *command], env={**self.env, **self.inside}, stdin=subprocess.DEVNULL,
                stdout=log, stderr=log, start_new_session=True)

    def kill(self, name: str) -> None:
        self.children[name].kill()
        self.children[name].wait()

    def has_owner(self, name: str) -> bool:
        arguments = GLib.Variant("(s)", (name,))
        method = "org.freedesktop.DBus.NameHasOwner"
        return mutter.call(self.bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", method, arguments)[0]

    def start_bus(self) -> None:
        configuration = HERE.parent / "bus/session.conf"
        address = self.env["DBUS_SESSION_BUS_ADDRESS"]
        options = ["--nofork", "--nopidfile", "--nosyslog", f"--config-file={configuration}", f"--address={address}"]
        self.spawn("bus", ["dbus-daemon", *options])
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION

        def connect() -> Gio.DBusConnection | None:
            try:
                return Gio.DBusConnection.new_for_address_sync(address, flags, None, None)
            except GLib.Error:
                return None

        self.bus = self.until(connect, "the bus", "bus")
        self.bus.set_exit_on_close(False)

    def start_pipewire(self) -> None:
        (self.home / "pipewire-0").unlink(missing_ok=True)
        self.spawn("pipewire", ["pipewire"])
        self.until((self.home / "pipewire-0").exists, "PipeWire", "pipewire")
        if "wireplumber" in self.children:
            self.kill("wireplumber")
        self.start_wireplumber()

    def start_wireplumber(self) -> None:
        self.spawn("wireplumber", ["wireplumber"])

    def spawn_compositor(self) -> None:
        command = ["mutter", "--headless", "--wayland-display", self.env["WAYLAND_DISPLAY"]]
        command += [part for size in self.options.monitor for part in ("--virtual-monitor", size)]
        if self.options.no_x11:
            command.append("--no-x11")
        elif "VANTORA_LAB" in os.environ:
            # In a process space of its own, the compositor takes the lock files of other people's X displays for
            # left-overs: it gets a folder for them of its own. Clients find the display by its abstract socket.
            inner = self.home / "tmp" / self.home.name
            inner.mkdir(parents=True, exist_ok=True)
            sockets = self.home / "tmp/.X11-unix"
            sockets.mkdir(exist_ok=True)
            sockets.chmod(0o1777)
            script = 'mount --bind "$1" "$2" && mount --rbind "$1/tmp" "$3" && shift 3 && exec "$@"'
            places = [str(self.home), str(inner), tempfile.gettempdir()]
            command = ["unshare", "--mount", "sh", "-c", script, "sh", *places, *command]
        self.spawn("compositor", command)

    def wait_for_compositor(self) -> None:
        names = [mutter.SCREEN_CAST, mutter.REMOTE_DESKTOP, mutter.DISPLAY_CONFIG]
        socket = self.home / self.env["WAYLAND_DISPLAY"]
        self.until(lambda: all(map(self.has_owner, names)) and socket.exists(), "the compositor", "compositor")
        self.seat = mutter.Seat(self.bus)
        if self.options.no_x11:
            return
        words = "Using public X11 display "
        line = self.until(lambda: self.log("compositor").partition(words)[2], "the X display", "compositor")
        self.env["DISPLAY"] = line.split(",")[0]
        keys = self.home.glob(".mutter-Xwaylandauth.*")
        self.env["XAUTHORITY"] = str(max(keys, key=lambda path: path.stat().st_mtime))

    def start_compositor(self) -> None:
        self.spawn_compositor()
        self.wait_for_compositor()

    def start_permissions(self) -> None:
        self.spawn("permissions", ["/usr/libexec/xdg-permission-store"])
        name = "org.freedesktop.impl.portal.PermissionStore"
        self.until(lambda: self.has_owner(name), "the permissions", "permissions")

    def start_portal(self) -> None:
        self.spawn("portal", ["/usr/libexec/xdg-desktop-portal"])
        self.until(lambda: self.has_owner("org.freedesktop.portal.Desktop"), "the portal", "portal")
        version: list[int] = []

        def received(bus: Gio.DBusConnection, result: Gio.AsyncResult) -> None:
            version.append(bus.call_finish(result).unpack()[0])

        # Asynchronously: the portal may be asking the backend here at the same time.
        get = GLib.Variant("(ss)", ("org.freedesktop.portal.ScreenCast", "version"))
        self.bus.call(
            "org.freedesktop.portal.Desktop", portal_backend.PATH, "org.freedesktop.DBus.Properties", "Get", get, None,
            Gio.DBusCallFlags.NONE, DEADLINE_S * 1000, None, received)
        self.until(lambda: version, "the portal's answer", "portal")

    def start(self) -> None:
        (self.home / "portals").mkdir()
        interfaces = ["ScreenCast"] if self.options.screencast_only else ["ScreenCast", "RemoteDesktop"]
        listed = ";".join(f"org.freedesktop.impl.portal.{name}" for name in interfaces)
        (self.home / "portals/test.portal").write_text(
            f"[portal]\nDBusName={portal_backend.NAME}\nInterfaces={listed};\nUseIn=gnome\n")
        settings = self.home / "home/.config/glib-2.0/settings"
        settings.mkdir(parents=True)
        if self.options.fractional:
            self.inside["GSETTINGS_BACKEND"] = "keyfile"
            features = "experimental-features=['scale-monitor-framebuffer']"
            (settings / "keyfile").write_text(f"[org/gnome/mutter]\n{features}\n")
        self.start_bus()
        self.spawn_compositor()
        self.backend = portal_backend.Backend(self.bus, not self.options.screencast_only, self.tell)
        self.start_pipewire()
        self.start_permissions()
        self.start_portal()
        self.wait_for_compositor()
        pids = {name: child.pid for name, child in self.children.items()}
        milliseconds = round((time.monotonic() - self.began) * 1000)
        self.tell({"ready": True, "env": self.env, "pids": pids, "milliseconds": milliseconds})

    def obey(self, line: str) -> None:
        command, *words = line.split()
        action = getattr(self, f"do_{command.replace('-', '_')}", None)
        try:
            if action is None:
                raise ValueError(f"no such command: {command}")
            self.tell({"answer": action(*words)})
        except Exception as error:  # Whatever it is, the test is told.
            self.tell({"error": f"{type(error).__name__}: {error}"})

    def do_answer(self, answer: str) -> str:
        if answer not in portal_backend.ANSWERS:
            raise ValueError(f"no such answer: {answer}")
        self.backend.answer = answer
        return answer

    def do_decide(self, answer: str) -> int:
        return self.backend.decide(answer)

    def do_questions(self) -> dict[str, int]:
        return {"asked": self.backend.asked, "waiting": len(self.backend.waiting)}

    def do_sessions(self) -> list[dict[str, Any]]:
        return [
            {
                "control": each.control,
                "devices": each.granted_devices,
                "streams": len(each.sharing.paths) if each.sharing else 0,
            }
            for each in self.backend.sessions.values()
        ]

    def do_choose(self, *monitors: str) -> list[int] | None:
        self.backend.chosen = None if monitors == ("all",) else [int(each) for each in monitors]
        return self.backend.chosen

    def do_forget(self) -> None:
        self.backend.generation += 1

    def do_close_session(self) -> int:
        return self.backend.close_sessions()

    def do_displays(self) -> list[dict[str, Any]]:
        return self.backend.displays.layout()

    def do_scale(self, index: str, factor: str) -> list[dict[str, Any]]:
        self.backend.displays.configure(int(index), scale=float(factor))
        return self.do_displays()

    def do_turn(self, index: str, quarters: str) -> list[dict[str, Any]]:
        self.backend.displays.configure(int(index), transform=int(quarters))
        return self.do_displays()

    def do_kill(self, name: str) -> None:
        self.kill(name)

    def do_start(self, name: str) -> dict[str, Any]:
        getattr(self, f"start_{name}")()
        return {"pid": self.children[name].pid, "env": self.env}

    def serve(self) -> None:
        rest = b""

        def on_input(fd: int, _condition: GLib.IOCondition) -> bool:
            nonlocal rest
            data = os.read(fd, 4096)
            *lines, rest = (rest + data).split(b"\n")
            for line in lines:
                if line.strip():
                    self.obey(line.decode())
            if not data:
                self.leave()
            return bool(data)

        if not self.options.no_commands:
            conditions = GLib.IOCondition.IN | GLib.IOCondition.HUP
            GLib.unix_fd_add_full(GLib.PRIORITY_DEFAULT, sys.stdin.fileno(), conditions, on_input)
        if not self.ended:
            self.loop.run()

    def leave(self) -> bool:
        self.ended = True
        self.loop.quit()
        return True

    def end(self) -> None:
        """The programs end in the order in which a desktop ends them: each before those that it uses."""
        # With somebody's session open the compositor would not end.
        if self.backend:
            self.backend.close_sessions()
        if self.seat:
            self.seat.stop()
            self.bus.flush_sync(None)
        for name in ("portal", "compositor", "wireplumber", "pipewire", "permissions", "bus"):
            child = self.children.get(name)
            if child is None:
                continue
            child.terminate()
            try:
                # mutter now and then runs in circles instead of ending.
                child.wait(1 if name == "compositor" else 5)
            except subprocess.TimeoutExpired:
                child.kill()
                child.wait()
        # Names a folder where the logs of its programs stay.
        if "VANTORA_WAYLAND_LOGS" in os.environ:
            for log in self.home.glob("*.log"):
                shutil.copy(log, os.environ["VANTORA_WAYLAND_LOGS"])
        shutil.rmtree(self.home, ignore_errors=True)


def main() -> int:
    parser = argparse.ArgumentParser(description="A Wayland desktop without a screen.")
    parser.add_argument("--monitor", action="append", metavar="WIDTHxHEIGHT", help="one of its monitors (1280x720)")
    parser.add_argument("--fractional", action="store_true", help="fractional scales; the layout is not in pixels")
    parser.add_argument("--no-x11", action="store_true", help="without an X server for X11 programs")
    parser.add_argument("--no-commands", action="store_true", help="ignore standard input: until a signal")
    parser.add_argument("--screencast-only", action="store_true", help="a desktop whose portals cannot pass input")
    options = parser.parse_args()
    options.monitor = options.monitor or ["1280x720"]

    desktop = Desktop(options)
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, number, desktop.leave)
    try:
        desktop.start()
        desktop.serve()
    except RuntimeError as error:
        print(f"desktop.py: {error}", file=sys.stderr)
        return 1
    except BrokenPipeError:
        return 0
    finally:
        desktop.end()
    return 0


if __name__ == "__main__":
    sys.exit(main())
