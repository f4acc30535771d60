// A screening run's page. Every response has its ranking, whose rows carry the shape of their bins in small, and
// panels: those of the best predictors stand in the page, the others are made of the data when their address,
// #p0-12 for rank 12 of the first response, is asked for.
(() => {
  // What stands where in a predictor's row of the data; the last three only where there is room for them.
  const kName = 0, kCategorical = 2, kBins = 3, kCases = 4, kPart = 5, kStatistics = 6, kMinimum = 7, kMaximum = 8, kCuts = 9, kRows = 10;
  const kMostClassesDrawn = 12, kMostClassesInShape = 24;

  const columnOf = (response, name) => response.columns.findIndex((column) => column[1] === name) + 1;
  const levelColumn = (response) => columnOf(response, response.kind === 'binary' ? 'badRateRow' : 'mean');
  const sizeColumn = (response) => columnOf(response, response.kind === 'continuous' ? 'n' : 'total');
  const shownFigure = (value, decimals) => {
    if (value === null) return '–';
    if (decimals >= 0) return value.toFixed(decimals);
    return Math.abs(value) >= 1e5 && Math.abs(value) < 1e18 ? grouped(Math.round(value)) : pageCharts.shortNumber(value);
  };
  const kindOf = (predictor) => (predictor[kCategorical] ? 'categorical' : 'continuous');

  // --- The shape of the bins, as wide as their cases: above and below the whole's level, or the shares of classes.
  const svg = (tag, attributes) => {
    const node = document.createElementNS('http://www.w3.org/2000/svg', tag);
    for (const [name, value] of Object.entries(attributes)) node.setAttribute(name, value);
    return node;
  };
  const kWidth = 96, kHeight = 24;

  function reachOf(response) {
    const level = levelColumn(response);
    let reach = 0;
    for (const predictor of response.predictors.slice(0, 200)) {
      const rows = predictor[kRows];
      if (!rows) break;
      const whole = rows[rows.length - 1][level];
      for (const row of rows) if (row[level] !== null) reach = Math.max(reach, Math.abs(row[level] - whole));
    }
    return reach || 1;
  }

  function shapeOf(response, predictor, reach) {
    const rows = predictor[kRows];
    if (!rows || response.codes.length > kMostClassesInShape) return null;
    const size = sizeColumn(response);
    const whole = rows[rows.length - 1];
    const picture = svg('svg', { viewBox: `0 0 ${kWidth} ${kHeight}`, width: kWidth, height: kHeight, 'aria-hidden': 'true', class: 'shape' });
    let left = 0;
    for (const row of rows.slice(0, -1)) {
      const width = whole[size] > 0 ? row[size] / whole[size] * kWidth : 0;
      const bar = (top, height, style) => picture.append(svg('rect', { x: left.toFixed(2), y: top.toFixed(2),
        width: Math.max(width - 1, 0.6).toFixed(2), height: Math.max(height, 0.6).toFixed(2), class: style }));
      if (response.kind === 'categorical') {
        let top = 0;
        response.codes.forEach((_, i) => {
          const height = row[size] > 0 ? row[i + 1] / row[size] * kHeight : 0;
          if (height > 0) bar(top, height, `class${i % 8}`);
          top += height;
        });
      } else {
        const level = levelColumn(response);
        const height = row[level] === null ? 0 : (row[level] - whole[level]) / reach * (kHeight / 2 - 1);
        bar(height > 0 ? kHeight / 2 - height : kHeight / 2, Math.abs(height), height > 0 ? 'above' : 'below');
      }
      left += width;
    }
    if (response.kind !== 'categorical') {
      picture.append(svg('line', { x1: 0, x2: kWidth, y1: kHeight / 2, y2: kHeight / 2, class: 'whole' }));
    }
    return picture;
  }

  // --- Rankings.
  function ranking(response, index) {
    const reach = response.kind === 'categorical' ? 0 : reachOf(response);
    const firstStatistic = 2, statistics = response.statistics;
    const strength = firstStatistic + statistics.length;
    upgradeTable({
      id: `${response.id}-ranking`, title: `the ranking of ${response.name}`, nameColumn: 1, plain: [strength + 1],
      numeric: [2, 0, ...statistics.map((statistic) => (statistic.smallestFirst ? 2 : 1)), 1, 0, 0, 1, 1],
      rows: response.predictors.map((predictor, i) => [[i + 1, String(i + 1)], predictor[kName],
        ...predictor[kStatistics].map((pair) => (pair[0] === null ? '' : pair)), [predictor[kPart], ''], '', kindOf(predictor),
        [predictor[kBins], String(predictor[kBins])], [predictor[kCases], grouped(predictor[kCases])]]),
      fill: (node, cell, i, row) => {
        if (i === 1) {
          node.append(make('a', { href: `#p${index}-${row + 1}` }, cell));
        } else if (i === strength) {
          const bar = make('i');
          bar.style.setProperty('--part', cell[0]);
          node.className = 'bar';
          node.append(bar);
        } else if (i === strength + 1) {
          const shape = shapeOf(response, response.predictors[row], reach);
          node.className = 'shape';
          if (shape) node.append(shape);
        } else {
          return false;
        }
        return true;
      },
    });
  }

  // --- The bins as a chart, where the analysis has none of its own.
  function chartOf(response, predictor) {
    const rows = predictor[kRows].slice(0, -1);
    const texts = rows.map((row) => [row[0], ...response.columns.map((column, i) => `${column[0]}: ${shownFigure(row[i + 1], column[2])}`)].join('\n'));
    const position = { title: predictor[kName] };
    const labels = rows.map((row) => row[0]);
    if (response.kind === 'categorical') {
      const total = sizeColumn(response);
      return { layout: 'columns', title: predictor[kName], position, value: { title: 'share in %', maximum: 100 }, stacked: true, categories: labels,
        series: response.codes.slice(0, kMostClassesDrawn).map((code, i) => ({ name: code,
          points: rows.map((row) => (row[total] > 0 ? Number((row[i + 1] / row[total] * 100).toPrecision(4)) : null)) })) };
    }
    const level = levelColumn(response);
    const percent = response.kind === 'binary';
    const heights = rows.map((row) => (row[level] === null ? null : percent ? row[level] * 100 : row[level]));
    const value = { title: percent ? 'bad rate in %' : `mean of ${response.name}` };
    const cuts = predictor[kCuts];
    const ends = [predictor[kMinimum], ...cuts, predictor[kMaximum]];
    if (cuts.length !== rows.length - 1 || predictor[kCategorical] || ends.some((end, i) => end === null || (i > 0 && end < ends[i - 1]))) {
      return { layout: 'columns', title: predictor[kName], position, value, categories: labels, series: [{ name: '', points: heights, tips: texts }] };
    }
    return { layout: 'xy', title: predictor[kName], position, value, scaled: !percent, right: {},
      series: [{ kind: 'line', name: value.title, points: heights.flatMap((height, i) => [[ends[i], height], [ends[i + 1], height], [null, null]]) }],
      tips: texts.map((text, i) => [ends[i], ends[i + 1], text]) };
  }

  function placeOwn(figure, response, predictor) {
    const chart = chartOf(response, predictor);
    const place = make('div', { class: 'chart', role: 'img', style: 'height:330px',
      'aria-label': `Chart of ${chart.value.title} by bin of ${predictor[kName]}. The table below holds the same values.` });
    figure.append(make('figcaption', {}, make('strong', {}, `${chart.value.title[0].toUpperCase()}${chart.value.title.slice(1)}`)), place);
    pageCharts.place(chart, place);
    return chart;
  }

  // --- What a categorical response's bins show of their classes.
  const kClassFigures = [
    ['Number of cases', null],
    ['Percent of the bin', (count, bin) => 100 * count / bin],
    ['Percent of the class', (count, bin, ofClass) => 100 * count / ofClass],
    ['Expected number', (count, bin, ofClass, all) => bin * ofClass / all],
  ];

  function showClasses(response, table, rank) {
    const rows = response.predictors[rank][kRows];
    const figure = kClassFigures[response.classFigure || 0][1];
    if (!rows) return;
    const total = sizeColumn(response), whole = rows[rows.length - 1];
    [...table.tBodies[0].rows].forEach((line, r) => {
      for (let i = 1; i < line.cells.length - 1; i += 1) {
        const value = figure ? figure(rows[r][i], rows[r][total], whole[i], whole[total]) : rows[r][i];
        line.cells[i].textContent = figure ? shownFigure(Number.isFinite(value) ? value : null, 1) : shownFigure(value, -1);
      }
    });
  }

  function classFigures(response) {
    const panels = document.getElementById(`${response.id}-panels`);
    if (response.kind !== 'categorical' || !panels) return;
    const hasRows = (panel) => response.predictors[Number(panel.id.split('-')[1]) - 1][kRows];
    if (![...panels.querySelectorAll('.panel')].every(hasRows)) return;
    const choice = make('select', {}, ...kClassFigures.map(([name], i) => make('option', { value: String(i) }, name)));
    choice.addEventListener('change', () => {
      response.classFigure = Number(choice.value);
      panels.querySelectorAll('.panel').forEach((panel) => {
        const table = panel.querySelector('table.bins');
        if (table) showClasses(response, table, Number(panel.id.split('-')[1]) - 1);
      });
    });
    const place = panels.querySelector('.panel');
    panels.insertBefore(make('p', { class: 'hint choice' }, make('label', {}, 'The tables of the bins show ', choice)), place);
  }

  // --- Panels on demand.
  function binTable(response, predictor, labelledBy) {
    const counts = response.kind === 'categorical';
    const total = counts ? sizeColumn(response) : 0;
    const head = make('tr', {}, make('th', { scope: 'col' }, 'Bin'), ...response.columns.map((column) => make('th', { scope: 'col', class: 'number' }, column[0])));
    const body = make('tbody');
    predictor[kRows].forEach((row, r) => {
      const line = make('tr', r === predictor[kRows].length - 1 ? { class: 'total' } : {}, make('th', { scope: 'row' }, row[0]));
      response.columns.forEach((column, i) => {
        const cell = make('td', { class: 'number' }, shownFigure(row[i + 1], column[2]));
        if (counts && i + 1 !== total && row[total] > 0) {
          cell.classList.add('share');
          cell.style.setProperty('--part', (row[i + 1] / row[total]).toFixed(2));
        }
        line.append(cell);
      });
      body.append(line);
    });
    const table = make('table', { class: 'bins', 'aria-labelledby': labelledBy }, make('thead', {}, head), body);
    if (counts) showClasses(response, table, response.predictors.indexOf(predictor));
    return make('div', { class: 'scroll', tabindex: '0', role: 'region', 'aria-labelledby': labelledBy }, table);
  }

  function makePanel(response, index, rank) {
    const predictor = response.predictors[rank];
    const id = `p${index}-${rank + 1}`;
    const figures = [`${kindOf(predictor)}, ${predictor[kBins]} ${predictor[kBins] === 1 ? 'bin' : 'bins'}, ${grouped(predictor[kCases])} cases`,
      ...response.statistics.map((statistic, i) => `${statistic.header} ${predictor[kStatistics][i][1]}`)].join(' · ');
    const opening = make('div', { class: 'opening' }, make('h4', { id: `${id}-title` }, make('span', { class: 'rank' }, String(rank + 1)), ` ${predictor[kName]}`),
      make('p', { class: 'figures' }, figures));
    const panel = make('article', { class: 'panel', id, tabindex: '-1', 'aria-labelledby': `${id}-title` }, opening);
    const figure = make('figure', { class: 'own' });
    if (predictor[kRows]) {
      opening.append(make('div', { class: 'graphs' }, figure));
      panel.append(binTable(response, predictor, `${id}-title`));
    } else {
      panel.append(make('p', { class: 'hint' }, 'This page has no room for the bins of so many predictors: screening_bins.csv and the workbook hold them all.'));
    }
    const panels = document.getElementById(`${response.id}-panels`);
    const next = [...panels.querySelectorAll('.panel')].find((other) => Number(other.id.split('-')[1]) > rank + 1);
    panels.insertBefore(panel, next || null);
    if (predictor[kRows]) pageCharts.draw(placeOwn(figure, response, predictor));
    return panel;
  }

  function showAddressed() {
    const address = /^#p(\d+)-(\d+)$/.exec(location.hash);
    const response = address && pageData.responses[Number(address[1])];
    const rank = address && Number(address[2]) - 1;
    if (!response || !response.predictors[rank]) return;
    const panel = document.getElementById(location.hash.slice(1)) || makePanel(response, Number(address[1]), rank);
    panel.scrollIntoView({ behavior: 'instant' });
    panel.focus({ preventScroll: true });
  }

  pageData.responses.forEach((response, index) => {
    ranking(response, index);
    classFigures(response);
    document.querySelectorAll(`#${response.id}-panels figure.own`).forEach((figure) => {
      const predictor = response.predictors[Number(figure.dataset.rank)];
      if (predictor[kRows]) placeOwn(figure, response, predictor);
    });
  });
  pageData.tables.forEach(upgradeTable);
  pageData.charts.forEach((chart) => pageCharts.place(chart));
  addEventListener('hashchange', showAddressed);
  showAddressed();
})();
