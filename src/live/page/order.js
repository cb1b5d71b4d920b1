// The rows of the table in order. The order can be held while rows go on changing. Pure data, no DOM.
import { comparer, kNoFilter, matches, valueOf } from "./store.js";

export class Order {
  constructor(store) {
    this.store = store;
    this.rows = [];
    this.places = new Map();
    this.filter = kNoFilter;
    this.column = "started";
    this.descending = true;
    this.added = 0;  // Rows appended while the order was held.
    this.gone = 0;   // Rows still shown though the visitor has left.
  }

  // Filters and sorts from scratch.
  rebuild() {
    this.store.takeDirty();
    const pairs = [];
    for (const row of this.store.rows.values()) {
      if (matches(row, this.filter)) pairs.push([valueOf(row, this.column), row]);
    }
    pairs.sort(comparer(this.column, this.descending));
    this.rows = pairs.map((pair) => pair[1]);
    this.places = new Map(this.rows.map((row, place) => [row.key, place]));
    this.added = 0;
    this.gone = 0;
  }

  // Updates rows without moving any: those who left are marked, new ones are appended if `append` is set.
  patch(append) {
    const later = [];
    for (const key of this.store.takeDirty()) {
      const row = this.store.rows.get(key);
      const place = this.places.get(key);
      if (place === undefined) {
        if (row && append && matches(row, this.filter)) this.#append(row);
        else if (row && !append) later.push(key);
      } else {
        this.#replace(place, row);
      }
    }
    for (const key of later) this.store.dirty.add(key);
  }

  #append(row) {
    this.places.set(row.key, this.rows.length);
    this.rows.push(row);
    this.added += 1;
  }

  #replace(place, row) {
    const before = this.rows[place];
    if (!row && !before.left) this.gone += 1;
    if (row && before.left) this.gone -= 1;
    this.rows[place] = row ?? { ...before, left: true };
  }

  placeOf(key) {
    return this.places.get(key) ?? -1;
  }
}
