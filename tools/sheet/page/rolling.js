// Lists that scroll with any number of items as fast as with few.

const AROUND = 600;  // pixels above and below the window
const MOST_PRINTED = 3000;

/// Has elements only for the items in view and near it; all have the same height. `above` and `below`, elements
/// before and after `parent`, take the room of the other items.
class Rolling {
  /// `makeElement` returns the element of an item at an index. `gap` lies between two rows.
  constructor(parent, above, below, makeElement, gap = 0) {
    Object.assign(this, {parent, above, below, makeElement, gap, items: [], columns: 1, row: 0, from: 0, to: 0, elements: new Map()});
  }

  /// Shows other items, `columns` in a row.
  show(items, columns = 1) {
    Object.assign(this, {items, columns, row: 0, from: 0, to: 0});
    this.elements.clear();
    this.parent.replaceChildren();
    this.makeRoom();
    if (!items.length) return;
    const first = this.makeElement(items[0], 0);
    this.parent.replaceChildren(first);
    this.row = first.getBoundingClientRect().height + this.gap;
    first.remove();
    this.update();
  }

  get rows() {
    return Math.ceil(this.items.length / this.columns);
  }

  /// The place of the first row in the window, whether it has an element or not.
  get top() {
    return this.parent.getBoundingClientRect().top - this.from * this.row;
  }

  /// The rows in view or near it: [first, end). Paper has room for many.
  inView() {
    if (Rolling.printing) return [0, Math.min(this.rows, Math.ceil(MOST_PRINTED / this.columns))];
    const view = document.querySelector('main').getBoundingClientRect();
    const within = pixels => Math.min(this.rows, Math.max(0, pixels / this.row));
    return [Math.floor(within(view.top - this.top - AROUND)), Math.ceil(within(view.bottom - this.top + AROUND))];
  }

  makeRoom() {
    this.above.style.height = this.from * this.row + 'px';
    this.below.style.height = Rolling.printing ? 0 : (this.rows - this.to) * this.row + 'px';
  }

  /// Makes the elements that come near the window and drops those that leave it.
  update() {
    if (!this.row) return;
    const [from, to] = this.inView();
    if (from === this.from && to === this.to) return;
    Object.assign(this, {from, to});
    const items = this.items.slice(from * this.columns, to * this.columns);
    const kept = new Set(items);
    const focused = this.parent.contains(document.activeElement);
    for (const [item, element] of this.elements) {
      if (kept.has(item)) continue;
      element.remove();
      this.elements.delete(item);
    }
    let next = this.parent.firstElementChild;
    items.forEach((item, i) => {
      if (this.elements.has(item)) {
        next = next.nextElementSibling;
        return;
      }
      const element = this.makeElement(item, from * this.columns + i);
      this.elements.set(item, element);
      this.parent.insertBefore(element, next);
    });
    this.makeRoom();
    // An element that leaves the view leaves the focus to what scrolls.
    if (focused && !this.parent.contains(document.activeElement)) this.parent.closest('[tabindex="0"]').focus({preventScroll: true});
  }

  /// Scrolls by the least distance that brings an item into view, below the part that covers the top of `box`.
  /// In a low window `box` has the height of all rows, and <main> scrolls. Returns the item's element.
  bring(at, box, covered = 0) {
    if (!this.row || !this.items[at]) return null;
    const scroller = box.scrollHeight > box.clientHeight ? box : document.querySelector('main');
    const above = this.top + Math.floor(at / this.columns) * this.row - scroller.getBoundingClientRect().top;
    const most = scroller.clientHeight - this.row;
    if (above < covered || above > most) scroller.scrollTop += above - (above < covered ? covered : most);
    this.update();
    return this.elements.get(this.items[at]) || null;
  }
}
