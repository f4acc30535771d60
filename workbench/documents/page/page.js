// What the pages' scripts share: elements of texts, and tables that sort, search and grow. Data enters the page
// as text nodes only.
'use strict';
const pageData = JSON.parse(document.getElementById('data').textContent);
const grouped = (n) => String(n).replace(/\B(?=(\d{3})+$)/g, ',');

const make = (tag, attributes, ...children) => {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes || {})) node.setAttribute(name, value);
  node.append(...children);
  return node;
};

// A cell is a text, or [number, text]: the number sorts, the text is shown.
const textOf = (cell) => (Array.isArray(cell) ? cell[1] : cell);

// source: id of the box around the table, title, rows, nameColumn (its cells name the rows; -1: none), numeric (a
// column's 0, 1 for numbers, 2 for numbers of which the smallest come first), plain (columns that are not sorted),
// and fill(node, cell, columnIndex, rowIndex), which puts more than a text into a cell it returns true for.
function upgradeTable(source) {
  const kStep = pageData.rowsShown;
  const box = document.getElementById(source.id);
  const table = box.querySelector('table');
  const body = table.tBodies[0];
  const headers = [...table.tHead.rows[0].cells];
  let order = source.rows.map((_, i) => i);
  let shown = kStep;
  let sorted = -1;
  let direction = 0;
  let wanted = '';

  const count = box.querySelector('.count');
  count.setAttribute('role', 'status');
  const more = make('div', { class: 'more' });
  const moreButton = make('button', { type: 'button' });
  const allButton = make('button', { type: 'button' });
  more.append(moreButton, allButton);
  table.closest('.scroll').after(more);

  const render = () => {
    const rows = order.slice(0, shown).map((index) => {
      const row = document.createElement('tr');
      source.rows[index].forEach((cell, i) => {
        const node = document.createElement(i === source.nameColumn ? 'th' : 'td');
        if (i === source.nameColumn) node.scope = 'row';
        if (source.numeric[i]) node.className = 'number';
        if (!source.fill || !source.fill(node, cell, i, index)) node.textContent = textOf(cell);
        row.append(node);
      });
      return row;
    });
    body.replaceChildren(...rows);
    const total = source.rows.length;
    const visible = Math.min(shown, order.length);
    let text = `${grouped(order.length)} ${order.length === 1 ? 'row' : 'rows'}`;
    if (wanted) text = order.length ? `${grouped(order.length)} of ${grouped(total)} rows match` : 'No row matches';
    if (visible < order.length) text += `, the first ${grouped(visible)} shown`;
    count.textContent = text;
    more.hidden = visible >= order.length;
    more.style.display = more.hidden ? 'none' : '';
    moreButton.textContent = `Show ${grouped(Math.min(kStep, order.length - visible))} more`;
    allButton.textContent = `Show all ${grouped(order.length)}`;
  };

  const arrange = () => {
    order = [];
    source.rows.forEach((row, i) => {
      if (!wanted || row.some((cell) => textOf(cell).toLocaleLowerCase().includes(wanted))) order.push(i);
    });
    if (sorted >= 0) {
      // Empty cells stand last whichever way the column is sorted.
      const keys = source.rows.map((row) => {
        const cell = row[sorted];
        return Array.isArray(cell) ? cell[0] : cell === '' ? null : cell;
      });
      order.sort((a, b) => {
        const x = keys[a];
        const y = keys[b];
        if (x === null || y === null) return (x === null) - (y === null) || a - b;
        if (typeof x !== typeof y) return typeof x === 'number' ? -1 : 1;
        const difference = typeof x === 'number' ? x - y : x.localeCompare(y, undefined, { numeric: true });
        return (difference || 0) * direction || a - b;
      });
    }
    render();
  };

  headers.forEach((header, i) => {
    if (source.plain && source.plain.includes(i)) return;
    const button = make('button', { type: 'button' });
    button.append(...header.childNodes);
    header.append(button);
    header.setAttribute('aria-sort', 'none');
    button.addEventListener('click', () => {
      // Numbers are wanted largest first; the third press gives the order of the analysis back.
      const first = source.numeric[i] === 1 ? -1 : 1;
      if (sorted !== i) {
        sorted = i;
        direction = first;
      } else if (direction === first) {
        direction = -first;
      } else {
        sorted = -1;
      }
      headers.forEach((other, j) => {
        other.setAttribute('aria-sort', j !== sorted ? 'none' : direction > 0 ? 'ascending' : 'descending');
      });
      arrange();
    });
  });

  if (source.rows.length > 10) {
    const search = make('input', { type: 'search', placeholder: 'Search', 'aria-label': `Search in ${source.title}` });
    let waiting = 0;
    search.addEventListener('input', () => {
      clearTimeout(waiting);
      waiting = setTimeout(() => {
        wanted = search.value.trim().toLocaleLowerCase();
        shown = kStep;
        arrange();
      }, 120);
    });
    count.before(search);
  }
  moreButton.addEventListener('click', () => { shown += kStep; render(); });
  allButton.addEventListener('click', () => { shown = source.rows.length; render(); });
  render();
}
