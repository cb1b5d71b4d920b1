// The table of visitors: draws only the rows in view, holds them in place, moves the selection by keyboard.
import { children, el, setAttribute, setText } from "./dom.js";
import { columnOf, fittingColumns, gridTemplate } from "./columns.js";
import { counted, shown } from "./format.js";

const kCards = 600;       // Below this width rows become cards.
const kNew = 4000;        // Milliseconds for which a new row, and a change, stay marked.
const kChanged = 2500;
const kSpare = 4;         // Rows drawn above and below the visible ones.
const kMostRows = 250000; // Browsers limit the height of an element.

const kCardColumns = [columnOf("visitor"), columnOf("last_hit"), columnOf("page"), {
  id: "meta",
  caption: "More",
  text: (v, store) => [store.sites.size > 1 ? shown(store.siteName(v.site), 40) : "", v.country ?? "",
    counted(v.pages, "page", "pages"), shown(v.spider || v.browser || "", 40)].filter(Boolean).join(" · "),
}];

export class Table {
  // calls: onSort(column), onChoose(key), onOpen(key), onHold(). wall: shows whole rows, never scrolls.
  constructor(grid, order, wall, calls) {
    Object.assign(this, { grid, order, wall, calls, store: order.store });
    this.head = grid.querySelector(".grid-head");
    this.body = grid.querySelector(".grid-body");
    this.columns = [];
    this.wanted = [];
    this.chosen = null;
    this.pointer = 0;   // When the pointer last moved over the rows; 0 while it is elsewhere.
    this.first = 0;
    this.marked = false;
    grid.addEventListener("scroll", () => this.#later(), { passive: true });
    grid.addEventListener("keydown", (event) => this.#key(event));
    this.body.addEventListener("click", (event) => this.#click(event));
    for (const name of ["pointerenter", "pointermove"]) {
      this.body.addEventListener(name, () => (this.pointer = performance.now()), { passive: true });
    }
    this.body.addEventListener("pointerleave", () => {
      this.pointer = 0;
      calls.onHold();
    });
    new ResizeObserver(() => this.layOut()).observe(grid);
  }

  // Rows are held while the pointer is over them or one is selected. A pointer at rest for a minute doesn't count.
  get held() {
    return this.chosen !== null || (this.pointer > 0 && performance.now() - this.pointer < 60000);
  }

  setColumns(wanted) {
    this.wanted = wanted;
    this.layOut();
  }

  layOut() {
    const width = this.grid.clientWidth;
    const style = getComputedStyle(this.grid);
    const unit = parseFloat(style.fontSize) / 14;  // Column widths are given for 14-pixel text.
    this.cards = width > 0 && width < kCards;
    this.columns = this.cards ? kCardColumns : fittingColumns(this.wanted, width / unit - 16);
    this.grid.classList.toggle("cards", this.cards);
    this.grid.style.setProperty("--columns", gridTemplate(this.columns));
    this.rowHeight = parseFloat(style.scrollPaddingTop) || 36;
    this.#drawHead();
    this.draw();
  }

  #drawHead() {
    const row = this.head.firstElementChild;
    const heads = children(row, this.columns.length, () => {
      const head = el("div", "head");
      head.setAttribute("role", "columnheader");
      const button = el("button");
      button.type = "button";
      button.addEventListener("click", () => this.calls.onSort(head.dataset.column));
      head.append(button);
      return head;
    });
    this.columns.forEach((column, at) => {
      const head = heads[at];
      head.dataset.column = column.id;
      head.className = `head c-${column.id}${column.number ? " number" : ""}`;
      setText(head.firstElementChild, column.caption);
      const sorted = this.order.column === column.id;
      setAttribute(head, "aria-sort", sorted ? (this.order.descending ? "descending" : "ascending") : null);
    });
  }

  sorted() {
    this.#drawHead();
    this.grid.scrollTop = 0;
  }

  #later() {
    if (!this.frame) this.frame = requestAnimationFrame(() => this.draw());
  }

  // Runs `rebuild`, which reorders the rows, and keeps the top visible row in place unless scrolled to the very top.
  rebuilt(rebuild) {
    const top = this.grid.scrollTop;
    const place = Math.floor(top / this.rowHeight);
    const row = top > 0 ? this.order.rows[place] : null;
    rebuild();
    if (row) {
      const now = this.order.placeOf(row.key);
      if (now >= 0 && now !== place) {
        this.#size();
        this.grid.scrollTop = top + (now - place) * this.rowHeight;
      }
    }
    this.draw();
  }

  #size() {
    this.shownRows = Math.min(this.order.rows.length, kMostRows);
    const height = `${this.shownRows * this.rowHeight}px`;
    if (this.body.style.height !== height) this.body.style.height = height;
    setAttribute(this.grid, "aria-rowcount", this.order.rows.length + 1);
  }

  draw() {
    cancelAnimationFrame(this.frame);
    this.frame = 0;
    if (!this.rowHeight || this.grid.clientHeight === 0) return;
    this.#size();
    const room = (this.grid.clientHeight - this.head.offsetHeight) / this.rowHeight;
    const first = Math.max(0, Math.floor(this.grid.scrollTop / this.rowHeight) - kSpare);
    // The wall shows no partial rows.
    const last = Math.min(this.shownRows, this.wall ? Math.floor(room) : first + Math.ceil(room) + 1 + 2 * kSpare);
    const rows = children(this.body, Math.max(0, last - first), () => this.#makeRow());
    const now = Date.now();
    this.first = first;
    this.marked = false;
    for (let at = 0; at < rows.length; at += 1) this.#drawRow(rows[at], first + at, now);
    const chosenAt = this.chosen === null ? -1 : this.order.placeOf(this.chosen) - first;
    setAttribute(this.grid, "aria-activedescendant", rows[chosenAt]?.id ?? null);
  }

  #makeRow() {
    const row = el("div", "row");
    row.id = `row-${(this.made = (this.made ?? 0) + 1)}`;
    row.setAttribute("role", "row");
    return row;
  }

  #drawRow(element, place, now) {
    const row = this.order.rows[place];
    const isNew = now - row.came < kNew;
    const isChanged = !isNew && row.changed !== row.came && now - row.changed < kChanged;
    this.marked ||= isNew || isChanged;
    const { v } = row;
    element.place = place;
    const name = "row" + (place % 2 ? " odd" : "") + (isNew ? " is-new" : "") + (isChanged ? " is-changed" : "") +
      (row.left ? " is-left" : "") + (v.idle ? " is-idle" : "") + (v.alert ? " is-alert" : "");
    if (element.className !== name) element.className = name;
    const top = `translateY(${place * this.rowHeight}px)`;
    if (element.style.transform !== top) element.style.transform = top;
    setAttribute(element, "aria-rowindex", place + 2);
    setAttribute(element, "aria-selected", row.key === this.chosen);
    // Unchanged rows are left alone.
    if (element.row === row && element.columns === this.columns) return;
    element.row = row;
    element.columns = this.columns;
    const cells = children(element, this.columns.length, makeCell);
    for (let at = 0; at < cells.length; at += 1) this.#drawCell(cells[at], this.columns[at], row);
  }

  #drawCell(cell, column, row) {
    const name = `cell c-${column.id}${column.number ? " number" : ""}${column.tag ? " tag-cell" : ""}`;
    if (cell.className !== name) cell.className = name;
    setText(cell.firstElementChild, column.text(row.v, this.store));
    const tags = column.id === "visitor" ? tagsOf(row) : [];
    const box = cell.children[1] ?? (tags.length ? cell.appendChild(el("span", "row-tags")) : null);
    if (!box) return;
    const drawn = children(box, tags.length, () => el("span"));
    tags.forEach(([kind, word], at) => {
      drawn[at].className = `tag ${kind}`;
      setText(drawn[at], word);
    });
    if (tags.length === 0) box.remove();
  }

  #click(event) {
    const place = event.target.closest(".row")?.place;
    if (place === undefined) return;
    const { key } = this.order.rows[place];
    this.choose(key);
    this.calls.onOpen(key);
  }

  choose(key) {
    if (this.chosen === key) return;
    this.chosen = key;
    this.draw();
    this.calls.onChoose(key);
  }

  #key(event) {
    if (event.ctrlKey || event.altKey || event.metaKey || event.target !== this.grid) return;
    const place = this.chosen === null ? -1 : this.order.placeOf(this.chosen);
    const page = Math.max(1, Math.floor(this.grid.clientHeight / this.rowHeight) - 2);
    const steps = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity };
    const step = steps[event.key];
    if (step !== undefined) {
      const to = place < 0 && Number.isFinite(step) ? this.#topPlace() : place + step;
      this.#go(Math.min(this.shownRows - 1, Math.max(0, to)));
    } else if (event.key === "Enter" && place >= 0) {
      this.calls.onOpen(this.chosen);
    } else if (event.key === "Escape" && this.chosen !== null) {
      this.choose(null);
      this.calls.onHold();
    } else {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
  }

  #topPlace() {
    return Math.ceil(this.grid.scrollTop / this.rowHeight);
  }

  #go(place) {
    if (place < 0 || place >= this.order.rows.length) return;
    this.choose(this.order.rows[place].key);
    this.reveal(place);
  }

  reveal(place) {
    const top = place * this.rowHeight;
    const room = this.grid.clientHeight - this.head.offsetHeight;
    if (top < this.grid.scrollTop) this.grid.scrollTop = top;
    else if (top + this.rowHeight > this.grid.scrollTop + room) this.grid.scrollTop = top + this.rowHeight - room;
    this.draw();
  }
}

function makeCell() {
  const cell = el("div");
  cell.setAttribute("role", "gridcell");
  cell.append(el("bdi"));
  return cell;
}

function tagsOf(row) {
  const tags = [];
  if (row.v.alert) tags.push(["alert", "alert"]);
  if (row.v.spider) tags.push(["spider", "spider"]);
  if (row.left) tags.push(["left", "left"]);
  return tags;
}
