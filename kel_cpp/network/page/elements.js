"use strict";

/** Elements of the page. Whatever comes from the server becomes text, never markup. */

function byId(id) {
  return document.getElementById(id);
}

function element(tag, className, ...content) {
  const made = document.createElement(tag);
  made.className = className;
  made.append(...content);
  return made;
}

/** Leaves an element alone that says so already: a screen reader would read it again. */
function setText(target, text) {
  if (target.textContent !== text) {
    target.textContent = text;
  }
}

function show(target, isShown) {
  target.hidden = !isShown;
}

/** Gets its day by itself when that is over. */
function timeElement(iso) {
  const time = element("time", "", shortTime(iso));
  time.dateTime = iso;
  time.title = dayAndTime(iso);
  return time;
}

/** Counts on by itself. */
function ageElement(iso) {
  const age = element("span", "age", ageOf(iso));
  age.dataset.since = iso;
  return age;
}

function tickAges() {
  for (const age of document.querySelectorAll("[data-since]")) {
    setText(age, ageOf(age.dataset.since));
  }
}

let shownDay = dayOf(serverNow());

function tickTimes() {
  const today = dayOf(serverNow());
  if (today !== shownDay) {
    shownDay = today;
    document.querySelectorAll("time").forEach((time) => setText(time, shortTime(time.dateTime)));
  }
}

function outcomeBadge(entry) {
  const {word, symbol, kind} = outcomeOf(entry);
  const sign = element("span", "", symbol);
  sign.setAttribute("aria-hidden", "true");
  return element("span", `badge ${kind}`, sign, ` ${word}`);
}

/**
 * Shows one child for each item. A child whose key stays is kept, and is moved only if it must be,
 * so that neither the keyboard's focus nor an open detail is lost.
 */
function showList(list, items, {key, make, update = () => {}}) {
  const names = new Set(items.map((item) => String(key(item))));
  // What is gone goes first: what stands behind it then has its place already.
  [...list.children].filter((child) => !names.has(child.dataset.key)).forEach((child) => child.remove());
  const former = new Map([...list.children].map((child) => [child.dataset.key, child]));
  let place = list.firstElementChild;
  for (const item of items) {
    const name = String(key(item));
    const child = former.get(name) ?? make(item);
    child.dataset.key = name;
    if (child === place) {
      place = place.nextElementSibling;
    } else {
      list.insertBefore(child, place);
    }
    update(child, item);
  }
}
