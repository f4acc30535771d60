// The page shell of every report: draws header, facts, notices, sections, tables and charts
// from the JSON in the element "data". Texts of the data enter the page as text nodes and
// attributes only, never as markup.
//
// A section holds parts; pageParts has a function for each type of part, which
// returns the part's element.
'use strict';
const pageData = JSON.parse(document.getElementById('data').textContent);
const grouped = (n) => String(n).replace(/\B(?=(\d{3})+$)/g, ',');
const counted = (n, one, many) => `${grouped(n)} ${n === 1 ? one : many}`;

const make = (tag, attributes, ...children) => {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes || {})) if (value !== undefined && value !== null) node.setAttribute(name, value);
  node.append(...children.filter((child) => child !== null && child !== undefined));
  return node;
};

// --- Tables, by column: {title, role, texts, values, decimals}. Roles: "name" (heads its row),
// "text", "number" (wanted largest first), "smallest" (numbers wanted smallest first), "bar"
// (values 0 to 1), "shape" (drawn by the section). A column without texts shows its values with its
// decimals, or in groups of digits.
const kLongText = 60;  // characters; a longer text gets a wide place
const isNumeric = (column) => column.role === 'number' || column.role === 'smallest';

function cellText(column, row) {
  if (column.texts) return column.texts[row];
  if (!column.values || column.role === 'bar') return '';
  const value = column.values[row];
  if (value === null) return '–';
  return column.decimals === undefined ? grouped(value) : value.toFixed(column.decimals);
}

// The key by which a column is sorted; null sorts last.
function cellKey(column, row) {
  if (column.values) {
    const value = column.values[row];
    return value === null && column.texts && column.texts[row] !== '–' ? column.texts[row] || null : value;
  }
  return column.texts[row] === '' ? null : column.texts[row];
}

function fillCell(node, part, section, column, row) {
  if (column.role === 'bar') {
    const bar = make('i');
    bar.style.setProperty('--part', column.values[row]);
    node.className = 'bar';
    node.append(bar);
  } else if (column.role === 'shape') {
    node.className = 'shape';
    const shape = pageShapes.shapeOf(section.response, row);
    if (shape) node.append(shape);
  } else if (column.targets) {
    node.append(make('a', { href: `#${column.targets}${row + 1}` }, cellText(column, row)));
  } else {
    node.textContent = cellText(column, row);
  }
}

function makeTable(part, section) {
  const kStep = part.rowsShown || 100;
  const columns = part.columns;
  const total = part.rowCount;
  let order = Array.from({ length: total }, (_, i) => i);
  let shown = kStep;
  let sorted = -1;
  let direction = 0;
  let wanted = '';

  const count = make('p', { class: 'count', role: 'status' });
  const tools = make('div', { class: 'tools' }, count);
  const body = make('tbody');
  const headers = columns.map((column) => make('th', { scope: 'col', class: isNumeric(column) ? 'number' : null }));
  const table = make('table', { class: part.look || (columns.length > 6 ? 'dense' : null), 'aria-labelledby': `${part.id}-title` },
    make('thead', {}, make('tr', {}, ...headers)), body);
  const moreButton = make('button', { type: 'button' });
  const allButton = make('button', { type: 'button' });
  const more = make('div', { class: 'more' }, moreButton, allButton);

  const render = () => {
    body.replaceChildren(...order.slice(0, shown).map((row) => {
      const line = make('tr');
      for (const column of columns) {
        const node = make(column.role === 'name' ? 'th' : 'td', column.role === 'name' ? { scope: 'row' } : {});
        if (isNumeric(column)) node.className = 'number';
        fillCell(node, part, section, column, row);
        if (column.role === 'text' && node.textContent.length > kLongText) node.className = 'long';
        line.append(node);
      }
      return line;
    }));
    const visible = Math.min(shown, order.length);
    let text = counted(order.length, 'row', 'rows');
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
    for (let row = 0; row < total; row += 1) {
      if (!wanted || columns.some((column) => cellText(column, row).toLocaleLowerCase().includes(wanted))) order.push(row);
    }
    if (sorted >= 0) {
      const keys = Array.from({ length: total }, (_, row) => cellKey(columns[sorted], row));
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
    const title = columns[i].title.replace(/-/g, '\u2011');  // narrow headers break at blanks, not in p-value
    if (columns[i].role === 'shape') {
      header.append(title);
      return;
    }
    const button = make('button', { type: 'button' }, title);
    header.append(button);
    header.setAttribute('aria-sort', 'none');
    button.addEventListener('click', () => {
      // The third press brings back the order of the analysis.
      const first = columns[i].role === 'number' || columns[i].role === 'bar' ? -1 : 1;
      if (sorted !== i) {
        sorted = i;
        direction = first;
      } else if (direction === first) {
        direction = -first;
      } else {
        sorted = -1;
      }
      headers.forEach((other, j) => {
        if (other.hasAttribute('aria-sort')) other.setAttribute('aria-sort', j !== sorted ? 'none' : direction > 0 ? 'ascending' : 'descending');
      });
      arrange();
    });
  });

  if (total > 10) {
    const search = make('input', { type: 'search', placeholder: 'Search', 'aria-label': `Search in ${part.title}` });
    let waiting = 0;
    search.addEventListener('input', () => {
      clearTimeout(waiting);
      waiting = setTimeout(() => {
        wanted = search.value.trim().toLocaleLowerCase();
        shown = kStep;
        arrange();
      }, 120);
    });
    tools.prepend(search);
  }
  moreButton.addEventListener('click', () => { shown += kStep; render(); });
  allButton.addEventListener('click', () => { shown = total; render(); });
  render();

  const content = [tools, make('div', { class: 'scroll', tabindex: '0', role: 'region', 'aria-labelledby': `${part.id}-title` }, table), more];
  const box = make('div', { id: part.id }, make('h3', { id: `${part.id}-title` }, part.title));
  if (part.folded) {
    box.append(make('details', {}, make('summary', {}, `Show ${counted(total, 'row', 'rows')}`), ...content));
  } else {
    box.append(...content);
  }
  if (part.formulas) {
    box.append(make('details', { class: 'formulas' }, make('summary', {}, 'How the columns are computed'),
      make('ul', {}, ...part.formulas.map((one) => make('li', {}, make('b', {}, one.name), ` ${one.title}`, one.formula ? make('code', {}, ` ${one.formula}`) : null)))));
  }
  return box;
}

// --- Charts: drawn by pageCharts once the page is put together.
const pendingCharts = [];

function makeFigure(part) {
  const label = [...part.titles, part.description].map((line) => `${line.replace(/\.$/, '')}. `).join('')
    + (part.table ? 'The table below holds the same values.' : '');
  const place = make('div', { class: 'chart', id: part.id, role: 'img', style: `height:${part.height}px`, 'aria-label': label.trim(), 'aria-details': part.table });
  pendingCharts.push([part.chart, place]);
  return make('figure', { class: part.solid ? 'solid' : null },
    make('figcaption', {}, ...part.titles.map((line, i) => make(i === 0 ? 'strong' : 'span', {}, line))), place,
    ...(part.notes || []).map((line) => make('p', { class: 'footnote' }, line)));
}

// --- Texts.
function makeText(part) {
  const text = make('pre', {}, part.text);
  return make('div', {}, make('h3', {}, part.title), part.summary ? make('details', {}, make('summary', {}, part.summary), text) : text);
}

const pageParts = { table: makeTable, chart: makeFigure, text: makeText };

// --- The page around the parts.
const makeFacts = (facts) => (facts && facts.length
  ? make('dl', { class: 'facts' }, ...facts.map((fact) => make('div', { class: fact.value.length > kLongText ? 'long' : null }, make('dt', {}, fact.key), make('dd', {}, fact.value)))) : null);

const kManyNotices = 8;
function noticeList(notices) {
  const list = make('ul', {}, ...notices.map((notice) => make('li', {}, notice)));
  return notices.length > kManyNotices ? make('details', {}, make('summary', {}, `${grouped(notices.length)} notices`), list) : list;
}

function makeSection(section) {
  const node = make('section', { id: section.id, class: section.look, 'aria-labelledby': section.title ? `${section.id}-title` : null });
  if (section.title) node.append(make('h2', { id: `${section.id}-title` }, section.title));
  if (section.kind) node.append(make('p', { class: 'kind' }, section.kind));
  const facts = makeFacts(section.facts);
  if (facts) node.append(facts);
  if (section.notices && section.notices.length) {
    node.append(make('div', { class: 'notices', role: 'note', 'aria-label': 'Notices' }, noticeList(section.notices)));
  }
  for (const part of section.parts) node.append(pageParts[part.type](part, section));
  return node;
}

// "How well does each of the 14 variables predict risk? Best: income (Gini 0.36), age."
function makeLead(lead) {
  const node = make('p', { class: 'lead' }, lead.question, make('b', {}, lead.subject), '?');
  (lead.best || []).forEach((one, i) => {
    node.append(i === 0 ? ' Best: ' : ', ', make('a', { href: `#${one.target}` }, one.name), one.figure ? ` (${one.figure})` : '');
  });
  if (lead.best && lead.best.length) node.append('.');
  return node;
}

function drawPage() {
  const header = make('header', {}, pageData.eyebrow ? make('p', { class: 'eyebrow' }, pageData.eyebrow) : null,
    make('h1', {}, pageData.title), ...(pageData.leads || []).map(makeLead));
  const main = make('main', { id: 'results' });
  const page = make('div', { class: 'page' }, header);
  const facts = makeFacts(pageData.facts);
  if (facts) {
    page.append(make('section', { class: 'facts-section', 'aria-labelledby': 'run-title' }, make('h2', { id: 'run-title' }, pageData.factsTitle), facts));
  }
  if (pageData.notices.length) {
    page.append(make('section', { class: 'notices', 'aria-labelledby': 'notices-title' }, make('h2', { id: 'notices-title' }, 'Notices'), noticeList(pageData.notices)));
  }
  const titled = pageData.sections.filter((section) => section.title && section.listed);
  if (titled.length > 1) {
    page.append(make('nav', { 'aria-label': 'Contents' }, make('strong', {}, 'Contents'),
      make('ul', {}, ...titled.map((section) => make('li', {}, make('a', { href: `#${section.id}` }, section.title))))));
  }
  for (const section of pageData.sections) main.append(makeSection(section));
  if (pageData.guide && pageData.guide.length) {
    main.append(make('section', { class: 'guide', 'aria-labelledby': 'guide-title' }, make('h2', { id: 'guide-title' }, 'How to read the figures'),
      make('dl', {}, ...pageData.guide.flatMap((one) => [make('dt', {}, one.term), make('dd', {}, one.meaning)]))));
  }
  page.append(main);
  document.body.prepend(make('a', { class: 'skip', href: '#results' }, 'Skip to the results'), page);
  // The first charts are drawn at once, for a program that takes a picture of the page
  // as soon as it has loaded.
  pendingCharts.forEach(([chart, place], i) => {
    chart.node = place;
    if (i < 6 && chart.layout !== 'cells') pageCharts.draw(chart);
    pageCharts.place(chart, place);
  });
  pageShapes.showAddressed();
}
