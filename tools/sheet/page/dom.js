'use strict';
// Elements and their text. Text of the data enters the document only through textContent.

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

/// The text with escapes for control characters and for those that hide text or change its direction.
function shown(text) {
  return String(text).replace(/[\u0000-\u001f\u007f-\u009f\u200b-\u200f\u2028-\u202e\u2060-\u206f\ufeff]/g,
      c => c === '\n' ? '\\n' : c === '\t' ? '\\t'
          : '\\u' + c.charCodeAt(0).toString(16).padStart(4, '0'));
}

/// The text, without its middle if it is longer than `most` characters.
function shortened(text, most) {
  if (text.length <= most) return text;
  const half = (most - 1) / 2;
  return text.slice(0, Math.ceil(half)) + '…' + text.slice(text.length - Math.floor(half));
}

/// Makes a screen reader announce the text.
function say(text) {
  $('said').textContent = text;
}

/// Replaces an element's children. A focused child passes the focus to the new child with its data-key.
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
