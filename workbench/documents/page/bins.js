// Parts of a page for predictors that were cut into bins: the shape of the bins in a ranking's row,
// and a panel per predictor with its charts and its bins. Panels that the report did not prepare
// are made when their address, #p0-12 for rank 12 of the first response, is asked for.
//
// section.response describes the response: kind, name, codes, figures (columns of the bin tables:
// {name, title, decimals}), size (the figure that counts cases), level (the figure that shapes and
// charts show, null for a categorical response) and details, one per predictor in order of rank:
// minimum, maximum, cuts, labels, figures by name, and counts (one list per code), each list with
// the total last, and apart, the bins of missing values and special codes. The last details may be
// missing. classic: the charts of the report come first.
const pageShapes = (() => {
  const kMostClassesDrawn = 12, kMostClassesInShape = 24, kMostClassColumns = 60;

  const shownFigure = (value, decimals) => {
    if (value === null || value === undefined) return '–';
    if (decimals !== undefined) return value.toFixed(decimals);
    return Math.abs(value) >= 1e5 && Math.abs(value) < 1e18 ? grouped(Math.round(value)) : pageCharts.shortNumber(value);
  };
  const sizesOf = (response, detail) => detail.figures[response.size];
  const binCount = (detail) => detail.labels.length - 1;

  // --- The shape of the bins: widths by their cases; heights above and below the level of all
  // cases, or shares of the classes.
  const svg = (tag, attributes) => {
    const node = document.createElementNS('http://www.w3.org/2000/svg', tag);
    for (const [name, value] of Object.entries(attributes)) node.setAttribute(name, value);
    return node;
  };
  const kWidth = 96, kHeight = 24;

  // The largest distance of a bin from the level of all cases; shapes of one response share their
  // scale.
  function reachOf(response) {
    if (response.reach) return response.reach;
    let reach = 0;
    for (const detail of response.details.slice(0, 200)) {
      const levels = detail.figures[response.level];
      const whole = levels[levels.length - 1];
      for (const level of levels) if (level !== null) reach = Math.max(reach, Math.abs(level - whole));
    }
    response.reach = reach || 1;
    return response.reach;
  }

  function shapeOf(response, rank) {
    const detail = response.details[rank];
    if (!detail || response.codes.length > kMostClassesInShape) return null;
    const sizes = sizesOf(response, detail);
    const all = sizes[sizes.length - 1];
    const picture = svg('svg', { viewBox: `0 0 ${kWidth} ${kHeight}`, width: kWidth, height: kHeight, 'aria-hidden': 'true', class: 'shape' });
    let left = 0;
    for (let bin = 0; bin < binCount(detail); bin += 1) {
      const width = all > 0 ? sizes[bin] / all * kWidth : 0;
      const x = left.toFixed(2);
      const bar = (top, height, style) => picture.append(svg('rect', { x, y: top.toFixed(2), width: Math.max(width - 1, 0.6).toFixed(2),
        height: Math.max(height, 0.6).toFixed(2), class: style }));
      if (response.level === null) {
        let top = 0;
        detail.counts.forEach((counts, code) => {
          const height = sizes[bin] > 0 ? counts[bin] / sizes[bin] * kHeight : 0;
          if (height > 0) bar(top, height, `class${code % 8}`);
          top += height;
        });
      } else {
        const levels = detail.figures[response.level];
        const height = levels[bin] === null ? 0 : (levels[bin] - levels[levels.length - 1]) / reachOf(response) * (kHeight / 2 - 1);
        bar(height > 0 ? kHeight / 2 - height : kHeight / 2, Math.abs(height), height > 0 ? 'above' : 'below');
      }
      left += width;
    }
    if (response.level !== null) picture.append(svg('line', { x1: 0, x2: kWidth, y1: kHeight / 2, y2: kHeight / 2, class: 'whole' }));
    return picture;
  }

  // --- The bins as charts.
  const kNormal = 1.959964;

  // Wilson's interval of a share of n cases.
  function shareInterval(share, n) {
    if (share === null || !(n > 0)) return [null, null];
    const z2 = kNormal * kNormal / n;
    const middle = (share + z2 / 2) / (1 + z2);
    const reach = kNormal / (1 + z2) * Math.sqrt(share * (1 - share) / n + z2 / (4 * n));
    return [Math.max(middle - reach, 0), Math.min(middle + reach, 1)];
  }

  // The interval of a mean of n cases by Student's t, whose quantile is
  // expanded about the normal one.
  function meanInterval(mean, variance, n) {
    if (mean === null || variance === null || !(n > 1)) return [null, null];
    const z = kNormal, df = n - 1;
    const t = df < 3 ? [12.706, 4.303][df < 2 ? 0 : 1] : z + (z ** 3 + z) / (4 * df) + (5 * z ** 5 + 16 * z ** 3 + 3 * z) / (96 * df * df)
      + (3 * z ** 7 + 19 * z ** 5 + 17 * z ** 3 - 15 * z) / (384 * df ** 3);
    const reach = t * Math.sqrt(variance / n);
    return [mean - reach, mean + reach];
  }

  // [title of the figure, chart] of a predictor: cases with the level of the response, and the
  // weights of evidence of a flag or the shares of classes.
  function chartsOf(response, name, detail) {
    const bins = binCount(detail);
    const labels = detail.labels.slice(0, bins);
    const sizes = sizesOf(response, detail);
    const percent = (part, all) => (all > 0 ? Number((part / all * 100).toPrecision(6)) : null);
    const common = { title: name, position: { title: name }, categories: labels,
      tips: labels.map((label, bin) => [label,
        ...response.figures.map((figure) => `${figure.title}: ${shownFigure(detail.figures[figure.name][bin], figure.decimals)}`)].join('\n')) };
    const size = labels.map((_, bin) => percent(sizes[bin], sizes[bins]));
    if (response.level === null) {
      return [['Classes of each bin', { ...common, layout: 'columns', value: { title: 'share in %', maximum: 100 }, stacked: true,
        series: response.codes.slice(0, kMostClassesDrawn).map((code, i) => ({ name: code,
          points: labels.map((_, bin) => percent(detail.counts[i][bin], sizes[bin])) })) }],
      ['Cases of each bin', { ...common, layout: 'columns', value: { title: '% of cases' }, series: [{ name: '', points: size }] }]];
    }
    const flag = response.kind === 'binary';
    const levels = detail.figures[response.level];
    const intervals = labels.map((_, bin) => (flag ? shareInterval(levels[bin], sizes[bin])
      : meanInterval(levels[bin], detail.figures.variance[bin], sizes[bin])));
    const scaled = (value) => (value === null || !flag ? value : value * 100);
    const charts = [[flag ? 'Cases and bad rate' : `Cases and mean of ${response.name}`, { ...common, layout: 'bins', fromZero: flag, apart: detail.apart,
      sizeTitle: '% of cases', levelTitle: flag ? 'bad rate in %' : `mean of ${response.name}`, size, level: levels.slice(0, bins).map((level, bin) => (sizes[bin] > 0 ? scaled(level) : null)),
      low: intervals.map(([low]) => scaled(low)), high: intervals.map(([, high]) => scaled(high)), whole: scaled(levels[bins]) }]];
    if (flag) charts.push(['Weight of evidence', { ...common, layout: 'signed', value: { title: 'WOE' }, points: detail.figures.woe.slice(0, bins) }]);
    return charts;
  }

  const ownFigures = (response, name, detail) => chartsOf(response, name, detail).map(([title, chart]) => makeFigure({
    titles: [title], description: `Chart of ${title.toLowerCase()} by bin of ${name}.`, height: 330, table: undefined, chart,
    notes: chart.layout === 'bins' ? ['Bars: cases. Points: 95 % intervals. Dashed: all cases.'] : [] }));

  // --- Bin tables. The bins of a categorical response show counts, percentages or
  // expected counts of its classes.
  const kClassFigures = [
    ['Number of cases', null],
    ['Percent of the bin', (count, bin) => 100 * count / bin],
    ['Percent of the class', (count, bin, ofClass) => 100 * count / ofClass],
    ['Expected number', (count, bin, ofClass, all) => bin * ofClass / all],
  ];

  function fillClasses(response, detail, body) {
    const figure = kClassFigures[response.classFigure || 0][1];
    const sizes = sizesOf(response, detail);
    [...body.rows].forEach((line, bin) => {
      detail.counts.slice(0, kMostClassColumns).forEach((counts, code) => {
        const all = sizes.length - 1;
        const value = figure ? figure(counts[bin], sizes[bin], counts[all], sizes[all]) : counts[bin];
        line.cells[code + 1].textContent = figure ? shownFigure(Number.isFinite(value) ? value : null, 1) : shownFigure(value);
      });
    });
  }

  function binTable(response, detail, id) {
    const codes = response.level === null ? response.codes.slice(0, kMostClassColumns) : [];
    const number = (title) => make('th', { scope: 'col', class: 'number' }, title);
    const head = make('tr', {}, make('th', { scope: 'col' }, 'Bin'), ...codes.map(number), ...response.figures.map((figure) => number(figure.title)));
    const sizes = sizesOf(response, detail);
    const body = make('tbody', {}, ...detail.labels.map((label, bin) => make('tr', { class: bin === binCount(detail) ? 'total' : null },
      make('th', { scope: 'row' }, label),
      ...codes.map((_, code) => {
        const cell = make('td', { class: 'number share' });
        cell.style.setProperty('--part', sizes[bin] > 0 ? (detail.counts[code][bin] / sizes[bin]).toFixed(2) : 0);
        return cell;
      }),
      ...response.figures.map((figure) => make('td', { class: 'number' }, shownFigure(detail.figures[figure.name][bin], figure.decimals))))));
    if (codes.length > 0) {
      fillClasses(response, detail, body);
      (response.classTables = response.classTables || []).push([detail, body]);
    }
    const nodes = [make('div', { class: 'scroll', id: `${id}-bins`, tabindex: '0', role: 'region', 'aria-labelledby': `${id}-title` },
      make('table', { class: 'bins', 'aria-labelledby': `${id}-title` }, make('thead', {}, head), body))];
    if (codes.length < response.codes.length && response.level === null) {
      nodes.push(make('p', { class: 'footnote' }, `The first ${codes.length} of ${response.codes.length} classes; screening_bins.csv has all.`));
    }
    return nodes;
  }

  function classChoice(response) {
    const choice = make('select', {}, ...kClassFigures.map(([name], i) => make('option', { value: String(i) }, name)));
    choice.addEventListener('change', () => {
      response.classFigure = Number(choice.value);
      (response.classTables || []).forEach(([detail, body]) => fillClasses(response, detail, body));
    });
    return make('p', { class: 'hint choice' }, make('label', {}, 'The tables of the bins show ', choice));
  }

  // --- Panels. prepared: {charts, rules} of the report; undefined for a
  // panel that is made on demand.
  function makePanel(section, rank, prepared) {
    const response = section.response;
    const detail = response.details[rank];
    const ranking = section.parts.find((part) => part.look === 'ranking');
    const name = ranking.columns.find((column) => column.role === 'name').texts[rank];
    const id = `${response.panelPrefix}${rank + 1}`;
    const figures = ranking.columns.filter((column) => column.summary)
      .map((column) => column.summary.replace('%', () => cellText(column, rank))).join(' · ');
    const opening = make('div', { class: 'opening' },
      make('h4', { id: `${id}-title` }, make('span', { class: 'rank' }, String(rank + 1)), ` ${name}`), make('p', { class: 'figures' }, figures));
    const panel = make('article', { class: 'panel', id, tabindex: '-1', 'aria-labelledby': `${id}-title` }, opening);
    const charts = prepared ? prepared.charts : [];
    const own = detail && !(response.classic && charts.length > 0);
    if (own) opening.append(make('div', { class: 'graphs' }, ...ownFigures(response, name, detail)));
    const given = charts.length > 0 ? make('div', { class: 'graphs' }, ...charts.map(makeFigure)) : null;
    if (given) opening.append(own ? make('details', { class: 'rule' }, make('summary', {}, 'Graphs of the dialogs'), given) : given);
    if (detail) {
      panel.append(...binTable(response, detail, id));
    } else {
      panel.append(make('p', { class: 'hint' }, 'This page has no room for the bins of so many predictors: screening_bins.csv and the workbook hold them all.'));
    }
    if (prepared && prepared.rules) {
      panel.append(make('details', { class: 'rule' }, make('summary', {}, 'Rules'), make('pre', {}, prepared.rules)));
    }
    return panel;
  }

  function makePanels(part, section) {
    const box = make('div', { id: `${section.id}-panels`, class: 'panels' }, part.title ? make('h3', {}, part.title) : null,
      part.hint ? make('p', { class: 'hint' }, part.hint) : null);
    if (section.response.level === null && part.panels.length > 0) box.append(classChoice(section.response));
    part.panels.forEach((prepared, rank) => box.append(makePanel(section, rank, prepared)));
    return box;
  }

  function showAddressed() {
    const address = /^#p(\d+)-(\d+)$/.exec(location.hash);
    const section = address && pageData.sections.find((one) => one.response && one.response.panelPrefix === `p${address[1]}-`);
    if (!section) return;
    const rank = Number(address[2]) - 1;
    const ranking = section.parts.find((part) => part.look === 'ranking');
    if (!ranking || rank < 0 || rank >= ranking.rowCount) return;
    let panel = document.getElementById(location.hash.slice(1));
    if (!panel) {
      pendingCharts.length = 0;
      panel = makePanel(section, rank);
      const panels = document.getElementById(`${section.id}-panels`);
      const next = [...panels.querySelectorAll('.panel')].find((other) => Number(other.id.split('-')[1]) > rank + 1);
      panels.insertBefore(panel, next || null);
      pendingCharts.forEach(([chart, place]) => { pageCharts.place(chart, place); pageCharts.draw(chart); });
    }
    panel.scrollIntoView({ behavior: 'instant' });
    panel.focus({ preventScroll: true });
  }
  addEventListener('hashchange', showAddressed);

  pageParts.panels = makePanels;
  return { shapeOf, showAddressed };
})();
