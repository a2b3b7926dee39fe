'use strict';
// Elements, and text as it is shown. Text from the data enters the document by textContent alone.

const $ = id => document.getElementById(id);
const SVG = 'http://www.w3.org/2000/svg';

/// An element with properties, attributes (names with a hyphen, and role) and children.
function make(name, properties = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (key.includes('-') || key === 'role') element.setAttribute(key, value);
    else element[key] = value;
  }
  element.append(...children);
  return element;
}

function draw(name, attributes, ...children) {
  const element = document.createElementNS(SVG, name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  element.append(...children);
  return element;
}

function button(text, onclick, properties = {}) {
  return make('button', {type: 'button', textContent: text, onclick, ...properties});
}

/// Text as it is shown: what would move a cursor, hide or turn the text round is escaped.
function shown(text) {
  return String(text).replace(/[\u0000-\u001f\u007f-\u009f\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff]/g,
      c => c === '\n' ? '\\n' : c === '\t' ? '\\t'
          : '\\u' + c.charCodeAt(0).toString(16).padStart(4, '0'));
}

/// A text that is too long, without its middle.
function shortened(text, most) {
  if (text.length <= most) return text;
  const half = (most - 1) / 2;
  return text.slice(0, Math.ceil(half)) + '…' + text.slice(text.length - Math.floor(half));
}

/// Has a screen reader say it.
function say(text) {
  $('said').textContent = text;
}

/// Replaces an element's children and keeps the focus where it was, on what has the same data-key.
function refill(element, ...children) {
  const key = element.contains(document.activeElement) ? document.activeElement.dataset.key : undefined;
  element.replaceChildren(...children);
  if (key === undefined) return;
  const same = [...element.querySelectorAll('[data-key]')].find(e => e.dataset.key === key);
  if (same) same.focus({preventScroll: true});
}

const SEVERITIES = ['error', 'warning', 'note'];
const mark = severity => make('span', {className: 'mark ' + severity, 'aria-hidden': 'true'});
const severityOf = finding => SEVERITIES.includes(finding.severity) ? finding.severity : 'note';
const worstFirst = findings =>
  SEVERITIES.filter(severity => findings.some(finding => severityOf(finding) === severity));
