// A small chart of the last hour in SVG. Screen readers get the same numbers as a table.
import { byId, children, el, setAttribute, setText } from "./dom.js";
import { count, minuteOf, shortCount } from "./format.js";

const kSvg = "http://www.w3.org/2000/svg";
// Margins around the plot, in multiples of the label size.
const kAround = { left: 34 / 11, bottom: 18 / 11, top: 8 / 11, right: 6 / 11 };

function svg(tag, attributes, parent) {
  const made = document.createElementNS(kSvg, tag);
  for (const [name, value] of Object.entries(attributes)) made.setAttribute(name, value);
  parent?.append(made);
  return made;
}

// The smallest round number not below `value` whose half is round too.
export function ceilingOf(value) {
  if (value <= 4) return 4;
  if (value <= 10) return value <= 6 ? 6 : value <= 8 ? 8 : 10;
  const unit = 10 ** Math.floor(Math.log10(value));
  return [1, 2, 4, 6, 8, 10].map((n) => n * unit).find((n) => n >= value);
}

export class Chart {
  // kind: "bars" or "line". read(minute): its value.
  constructor(figure, kind, caption, read) {
    Object.assign(this, { figure, kind, caption, read, minutes: [] });
    this.box = figure.querySelector(".plot");
    this.readout = figure.querySelector(".readout");
    this.svg = svg("svg", { role: "img", focusable: "false" }, this.box);
    new ResizeObserver(() => this.draw()).observe(this.box);
    this.box.addEventListener("pointermove", (event) => this.#point(event), { passive: true });
    this.box.addEventListener("pointerleave", () => this.#show(-1));
  }

  set(minutes) {
    this.minutes = minutes;
    this.draw();
  }

  draw() {
    const width = this.box.clientWidth;
    const height = this.box.clientHeight;
    if (width < 60 || height < 40) return;
    const unit = parseFloat(getComputedStyle(this.svg).fontSize);
    Object.assign(this, { width, height, unit });
    for (const [side, size] of Object.entries(kAround)) this[side] = size * unit;
    const values = this.minutes.map(this.read);
    const highest = Math.max(0, ...values);
    this.most = ceilingOf(highest);
    setAttribute(this.svg, "viewBox", `0 0 ${width} ${height}`);
    setAttribute(this.svg, "aria-label", this.#inWords(values, highest));
    this.svg.replaceChildren();
    this.#axes();
    if (values.length === 0) return;
    if (this.kind === "bars") this.#bars(values);
    else this.#line(values);
    const ends = { y1: this.top, y2: height - this.bottom };
    this.mark = svg("line", { class: "cursor", ...ends, visibility: "hidden" }, this.svg);
    this.#show(-1);
  }

  #inWords(values, highest) {
    if (values.length === 0) return `${this.caption}: no numbers yet`;
    return `${this.caption}, last hour: now ${count(values.at(-1))}, most ${count(highest)}`;
  }

  #x(at) {
    return this.left + ((this.width - this.left - this.right) * at) / Math.max(1, this.minutes.length);
  }

  #y(value) {
    return this.height - this.bottom - ((this.height - this.bottom - this.top) * value) / this.most;
  }

  #axes() {
    for (const part of [0, 0.5, 1]) {
      const y = Math.round(this.#y(this.most * part)) + 0.5;
      const ends = { x1: this.left, x2: this.width - this.right, y1: y, y2: y };
      svg("line", { class: part ? "rule" : "axis", ...ends }, this.svg);
      const place = { x: this.left - this.unit / 2, y: y + this.unit / 3 };
      svg("text", { class: "label", ...place, "text-anchor": "end" }, this.svg).textContent =
        shortCount(this.most * part);
    }
    const last = this.minutes.length - 1;
    const wide = 7 * this.unit;
    const step = this.width > 40 * this.unit ? 15 : 30;
    for (let at = step; at < last; at += step) {
      if (this.#x(at) - this.left > wide && this.width - this.right - this.#x(at) > wide) this.#timeLabel(at);
    }
    for (const at of last < 0 ? [] : new Set([0, last])) this.#timeLabel(at);
  }

  #timeLabel(at) {
    const last = at === this.minutes.length - 1;
    const place = { x: last ? this.width - this.right : this.#x(at), y: this.height - this.unit / 3 };
    const anchor = last ? "end" : at === 0 ? "start" : "middle";
    const text = svg("text", { class: "label", ...place, "text-anchor": anchor }, this.svg);
    text.textContent = minuteOf(this.minutes[at].time);
  }

  #bars(values) {
    const step = this.#x(1) - this.#x(0);
    const width = Math.max(1, step - (step > 4 ? 2 : 1));
    let d = "";
    values.forEach((value, at) => {
      if (!(value > 0)) return;
      d += `M${this.#x(at).toFixed(1)} ${this.#y(0)}V${this.#y(value).toFixed(1)}h${width.toFixed(1)}V${this.#y(0)}z`;
    });
    svg("path", { class: "bars", d }, this.svg);
  }

  #line(values) {
    const half = (this.#x(1) - this.#x(0)) / 2;
    const points = values.map((value, at) => `${(this.#x(at) + half).toFixed(1)} ${this.#y(value).toFixed(1)}`);
    const end = this.#x(values.length - 1) + half;
    svg("path", { class: "area", d: `M${this.#x(0) + half} ${this.#y(0)}L${points.join("L")}L${end} ${this.#y(0)}z` },
      this.svg);
    svg("path", { class: "line", d: `M${points.join("L")}` }, this.svg);
  }

  #point(event) {
    const x = event.clientX - this.box.getBoundingClientRect().left;
    const at = Math.floor(((x - this.left) / (this.width - this.left - this.right)) * this.minutes.length);
    this.#show(at >= 0 && at < this.minutes.length ? at : -1);
  }

  #show(at) {
    const minute = this.minutes[at < 0 ? this.minutes.length - 1 : at];
    setText(this.readout, minute ? `${at < 0 ? "now" : minuteOf(minute.time)} ${count(this.read(minute))}` : "");
    if (!this.mark) return;
    setAttribute(this.mark, "visibility", at < 0 ? "hidden" : "visible");
    const x = this.#x(Math.max(at, 0) + 0.5);
    setAttribute(this.mark, "x1", x);
    setAttribute(this.mark, "x2", x);
  }
}

// The minutes as a table, newest first, for screen readers.
export function writeRatesTable(minutes) {
  const rows = children(byId("rates-rows"), minutes.length, () => {
    const row = el("tr");
    row.append(el("th"), el("td"), el("td"));
    row.firstElementChild.scope = "row";
    return row;
  });
  minutes.forEach((minute, at) => {
    const cells = rows[minutes.length - 1 - at].children;
    setText(cells[0], minuteOf(minute.time));
    setText(cells[1], count(minute.page_views));
    setText(cells[2], count(minute.visitors));
  });
}
