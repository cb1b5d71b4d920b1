// The user's choices, kept in this browser; without storage they last as long as the tab.
const kPrefix = "vantry-live.";
const held = new Map();

export function recall(name, otherwise) {
  if (held.has(name)) return held.get(name);
  try {
    const text = localStorage.getItem(kPrefix + name);
    return text === null ? otherwise : JSON.parse(text);
  } catch {
    return otherwise;
  }
}

export function remember(name, value) {
  held.set(name, value);
  try {
    localStorage.setItem(kPrefix + name, JSON.stringify(value));
  } catch {
    // Storage is full or disabled.
  }
}
