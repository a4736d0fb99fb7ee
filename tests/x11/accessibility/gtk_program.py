"""A window at (100, 100), 600 by 400, with elements at fixed places, so that a test knows where to point."""
import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402


def paned(orientation, position, width, height):
    pane = Gtk.Paned(orientation=orientation, wide_handle=True)
    pane.add1(Gtk.Label(label="one"))
    pane.add2(Gtk.Label(label="two"))
    pane.set_size_request(width, height)
    pane.set_position(position)
    return pane


window = Gtk.Window(title="gtk", decorated=False)
window.set_default_size(600, 400)
fixed = Gtk.Fixed()
window.add(fixed)
for element, x, y in [
    (Gtk.Entry(width_request=200), 20, 20),
    (Gtk.Button(label="Press", width_request=200), 20, 60),
    (Gtk.LinkButton(uri="http://localhost/", label="Link", width_request=200), 20, 100),
    (Gtk.Label(label="Label", width_request=200, height_request=30), 20, 140),
    (Gtk.TextView(width_request=200, height_request=60), 20, 180),
    # The dividers begin at x 395 and y 195 of the window and are some pixels wide.
    (paned(Gtk.Orientation.HORIZONTAL, 95, 200, 80), 300, 20),
    (paned(Gtk.Orientation.VERTICAL, 45, 200, 100), 300, 150),
]:
    fixed.put(element, x, y)
window.connect("destroy", Gtk.main_quit)
window.move(100, 100)
window.show_all()
Gtk.main()
