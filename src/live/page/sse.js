// An incremental parser for event streams. No DOM.

export class SseParser {
  #rest = "";
  #id = null;
  #type = "message";
  #data = null;

  // Returns the events completed by this text: [[id, type, data], ...].
  feed(text) {
    const events = [];
    const buffer = this.#rest + text;
    let from = 0;
    for (;;) {
      const end = buffer.indexOf("\n", from);
      if (end < 0) break;
      const line = buffer.slice(from, buffer.charCodeAt(end - 1) === 13 && end > from ? end - 1 : end);
      from = end + 1;
      if (line === "") this.#close(events);
      else this.#field(line);
    }
    this.#rest = buffer.slice(from);
    return events;
  }

  #close(events) {
    if (this.#data !== null) events.push([this.#id, this.#type, this.#data]);
    this.#type = "message";
    this.#data = null;
  }

  #field(line) {
    const colon = line.indexOf(":");
    if (colon === 0) return;  // A comment.
    const name = colon < 0 ? line : line.slice(0, colon);
    let value = colon < 0 ? "" : line.slice(colon + 1);
    if (value.startsWith(" ")) value = value.slice(1);
    if (name === "data") this.#data = this.#data === null ? value : `${this.#data}\n${value}`;
    else if (name === "event") this.#type = value;
    else if (name === "id" && /^\d+$/.test(value) && Number.isSafeInteger(+value)) this.#id = +value;
  }
}
