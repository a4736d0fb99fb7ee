// The host's video shows no pointer: the browser draws it, in the shape that the host names.

const SHAPES = new Set([
  'default', 'pointer', 'text', 'grab', 'grabbing', 'crosshair', 'not-allowed', 'ew-resize', 'ns-resize', 'n-resize',
  's-resize', 'w-resize', 'e-resize', 'nwse-resize', 'nesw-resize', 'col-resize', 'row-resize', 'move',
]);

export class CursorView {
  #element;
  #shape = 'default';
  #active = false;

  constructor(element) {
    this.#element = element;
  }

  setShape(shape) {
    this.#shape = SHAPES.has(shape) ? shape : 'default';
    this.#apply();
  }

  // Only a viewer in control sees the host's shapes: others cannot move its pointer.
  setActive(active) {
    this.#active = active;
    this.#apply();
  }

  #apply() {
    this.#element.style.cursor = this.#active ? this.#shape : '';
  }
}
