// Helpers for elements. Text is always set as text, never as markup.

export const byId = (id) => document.getElementById(id);

export function el(tag, className = "", text = null) {
  const made = document.createElement(tag);
  if (className) made.className = className;
  if (text !== null) made.textContent = text;
  return made;
}

// For text from logs: isolates its direction from the surroundings.
export function bdi(text, className = "") {
  return el("bdi", className, text);
}

// Changes the text only if it differs, and reuses the text node: both save layout and garbage.
export function setText(node, text) {
  const inner = node.firstChild;
  if (inner === null || inner !== node.lastChild || inner.nodeType !== Node.TEXT_NODE) {
    if (node.textContent !== text) node.textContent = text;
  } else if (inner.data !== text) {
    inner.data = text;
  }
}

export function setAttribute(node, name, value) {
  if (value === null || value === false) {
    if (node.hasAttribute(name)) node.removeAttribute(name);
  } else if (node.getAttribute(name) !== String(value)) {
    node.setAttribute(name, value);
  }
}

// Adds or removes children at the end until there are `wanted`. Returns them.
export function children(parent, wanted, make) {
  while (parent.children.length > wanted) parent.lastElementChild.remove();
  while (parent.children.length < wanted) parent.append(make());
  return parent.children;
}

export function link(text, href, className = "") {
  const made = el("a", className, text);
  made.href = href;
  made.target = "_blank";
  made.rel = "noopener noreferrer";
  return made;
}
