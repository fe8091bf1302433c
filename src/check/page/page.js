'use strict';
// All of it is extra: without a script the page says the same. No storage is
// needed, nothing is fetched, and no text is ever taken for markup.
(function () {
const doc = document, root = doc.documentElement;
const all = (what, from) => Array.from((from || doc).querySelectorAll(what));
const make = (name, text, kind) => {
  const made = doc.createElement(name);
  if (text) made.textContent = text;
  if (kind) made.className = kind;
  if (name === 'button') made.type = 'button';
  return made;
};

// Makes a text do what a button does, for the keyboard too.
function pressable(what, act) {
  what.setAttribute('role', 'button');
  what.tabIndex = 0;
  what.addEventListener('click', act);
  what.addEventListener('keydown', event => {
    if (event.key !== 'Enter' && event.key !== ' ') return;
    event.preventDefault();
    act();
  });
}

// "a[1-3,07],b" to names. Sets of one node are most; they are not cut up.
const known = new Map();
function names(folded) {
  let out = known.get(folded);
  if (out) return out;
  out = [];
  for (const part of folded.match(/[^,[\]]*(\[[^\]]*\])?[^,[\]]*/g) || []) {
    const cut = /^(.*?)\[([\d,-]+)\](.*)$/.exec(part);
    if (!cut) { if (part) out.push(part); continue; }
    for (const range of cut[2].split(',')) {
      const ends = range.split('-');
      const last = Number(ends[1] || ends[0]);
      for (let i = Number(ends[0]); i <= last && out.length < 1e5; i++)
        out.push(cut[1] + String(i).padStart(ends[0].length, '0') + cut[3]);
    }
  }
  known.set(folded, out);
  return out;
}

// Theme: as the machine has it, light, dark.
const themes = ['auto', 'light', 'dark'];
const theme = doc.getElementById('theme');
function setTheme(name) {
  root.dataset.theme = name;
  theme.textContent = 'Theme: ' + name;
}
function stored(value) {
  try {
    if (value === undefined) return localStorage.getItem('zelkara-theme');
    localStorage.setItem('zelkara-theme', value);
  } catch (refused) { /* a sandbox keeps nothing */ }
  return null;
}
theme.addEventListener('click', () => {
  const next = themes[(themes.indexOf(root.dataset.theme) + 1) % 3];
  setTheme(next);
  stored(next);
});
const kept = stored();
setTheme(themes.includes(kept) ? kept : root.dataset.theme);
doc.getElementById('tools').hidden = false;
root.classList.add('js');

// Filter and states: an item is shown when both let it through.
const items = all('[data-filter=rows]').flatMap(table => all('tbody tr', table))
  .concat(all('[data-filter=cards]').flatMap(box => Array.from(box.children)));
const off = new Set();
const box = doc.getElementById('filter');
const said = doc.getElementById('filtered');
const texts = new Map();
function words(item) {
  if (!texts.has(item)) texts.set(item, item.textContent.toLowerCase());
  return texts.get(item);
}
const holds = (set, query) =>
  names(set).some(name => name.toLowerCase().includes(query));
function passes(item, query) {
  const states = (item.dataset.s || '').split(' ').filter(Boolean);
  const told = states.filter(one => one !== 'ok' && one !== 'na');
  const asked = told.length ? told : states;
  if (asked.length && asked.every(one => off.has(one))) return false;
  if (!query) return true;
  return holds(item.dataset.n || '', query) || words(item).includes(query);
}
function show() {
  const query = box.value.trim().toLowerCase();
  let left = 0;
  for (const item of items) {
    const yes = passes(item, query);
    item.classList.toggle('gone', !yes);
    if (yes) left++;
  }
  said.textContent = query || off.size ? left + ' of ' + items.length + ' shown' : '';
  all('.squares').forEach(squares => ring(squares, query));
}
// Rings around the squares of nodes that are asked for.
function ring(squares, query) {
  const svg = squares.querySelector('svg');
  const before = svg.querySelector('.found');
  if (before) before.remove();
  if (!query) return;
  const step = +squares.dataset.step, row = +squares.dataset.row,
    columns = +squares.dataset.columns;
  let d = '';
  names(squares.dataset.n).forEach((name, i) => {
    if (!name.toLowerCase().includes(query)) return;
    const side = step - 4;
    d += 'M' + i % columns * step + ' ' + Math.floor(i / columns) * row +
      'h' + side + 'v' + (row - 4) + 'h-' + side + 'z';
  });
  if (!d) return;
  const path = doc.createElementNS(svg.namespaceURI, 'path');
  path.setAttribute('class', 'found');
  path.setAttribute('d', d);
  svg.append(path);
}
let waiting = 0;
box.addEventListener('input', () => {
  clearTimeout(waiting);
  waiting = setTimeout(show, 120);
});
all('#states li').forEach(item => {
  const button = make('button');
  button.append(...item.childNodes);
  button.setAttribute('aria-pressed', 'true');
  button.addEventListener('click', () => {
    const state = item.dataset.state;
    if (!off.delete(state)) off.add(state);
    button.setAttribute('aria-pressed', String(!off.has(state)));
    show();
  });
  item.append(button);
});

// Sorting: a click on a column's name, another one turns it round.
function value(row, column) {
  const cell = row.cells[column];
  return cell.dataset.sort || cell.textContent.trim();
}
function compare(a, b) {
  const x = parseFloat(a.replace(/,/g, '')), y = parseFloat(b.replace(/,/g, ''));
  if (!isNaN(x) && !isNaN(y) && x !== y) return x - y;
  return a.localeCompare(b, 'en', {numeric: true});
}
function sort(table, column, head) {
  const down = head.getAttribute('aria-sort') === 'ascending';
  all('th', table.tHead).forEach(each => each.removeAttribute('aria-sort'));
  head.setAttribute('aria-sort', down ? 'descending' : 'ascending');
  const rows = Array.from(table.tBodies[0].rows)
    .map(row => ({row, key: value(row, column)}));
  rows.sort((a, b) => (down ? -1 : 1) * compare(a.key, b.key));
  table.tBodies[0].append(...rows.map(one => one.row));
}
all('table.sortable').forEach(table =>
  all('thead th', table).forEach((head, column) => {
    // No <button>: it is not printed in a head that repeats.
    const name = make('span', head.textContent);
    head.textContent = '';
    head.append(name);
    pressable(name, () => sort(table, column, head));
  }));

// Folded sets open to single names.
all('.set').forEach(set => {
  const count = set.querySelector('.count'), code = set.querySelector('code');
  if (!count || !code) return;
  const folded = code.textContent;
  const holder = set.closest('tr,article');
  const full = folded.includes('\u2026') && holder && holder.dataset.n || folded;
  if (full.includes('\u2026')) return;
  count.setAttribute('aria-expanded', 'false');
  pressable(count, () => {
    const open = set.classList.toggle('open');
    count.setAttribute('aria-expanded', String(open));
    code.textContent = open ? names(full).join(' ') : folded;
  });
});

// Copying.
function copy(text) {
  const area = make('textarea', text);
  doc.body.append(area);
  area.select();
  const done = doc.execCommand('copy');
  area.remove();
  return done;
}
all('.card .copy,.made .copy,.inside .copy,section>.copy').slice(0, 500)
  .forEach(code => {
    const button = make('button', 'copy', 'copier');
    const holder = code.closest('tr,article');
    button.setAttribute('aria-label', 'Copy ' + code.textContent.slice(0, 80));
    button.addEventListener('click', () => {
      const text = code.textContent.includes('\u2026') && holder &&
        holder.dataset.n || code.textContent;
      const told = good => {
        button.textContent = good ? 'copied' : 'select it by hand';
        setTimeout(() => { button.textContent = 'copy'; }, 1500);
      };
      if (navigator.clipboard)
        navigator.clipboard.writeText(text).then(() => told(true),
          () => told(copy(text)));
      else told(copy(text));
    });
    if (code.classList.contains('command')) code.append(button);
    else code.after(button);
  });

// Tips: at once, for all squares, and where a pointer is.
const tip = make('div', '', 'tip');
tip.hidden = true;
doc.body.append(tip);
function squareName(target, event) {
  const squares = target.closest('.squares');
  const svg = squares && squares.querySelector('svg');
  if (!svg) return '';
  const area = svg.getBoundingClientRect(), step = +squares.dataset.step;
  const scale = svg.viewBox.baseVal.width / area.width;
  const x = Math.floor((event.clientX - area.left) * scale / step);
  const y = Math.floor((event.clientY - area.top) * scale /
    +squares.dataset.row);
  if (x < 0 || y < 0 || x >= +squares.dataset.columns) return '';
  return names(squares.dataset.n)[y * +squares.dataset.columns + x] || '';
}
function tipText(event) {
  const target = event.target;
  if (!(target instanceof Element)) return '';
  const title = target.querySelector(':scope>title');
  if (title && target.localName !== 'svg') {
    target.dataset.tip = title.textContent;
    target.setAttribute('aria-label', title.textContent);
    title.remove();
  }
  return target.dataset.tip || squareName(target, event);
}
doc.addEventListener('pointermove', event => {
  const text = tipText(event);
  tip.hidden = !text;
  if (!text) return;
  if (tip.textContent !== text) tip.textContent = text;
  const right = root.clientWidth - tip.offsetWidth - 8;
  tip.style.left = Math.max(4, Math.min(event.clientX + 12, right)) + scrollX + 'px';
  tip.style.top = event.clientY + 18 + scrollY + 'px';
});

// A link to a closed part opens it.
function reveal() {
  const part = doc.getElementById(decodeURIComponent(location.hash.slice(1)));
  if (part && part.localName === 'details') part.open = true;
}
addEventListener('hashchange', reveal);
reveal();
})();
