// The page's behaviour: tables sort, search and grow; the first charts are drawn at once, the others when they
// come into view. Without scripts the page still shows the first rows of every table and all texts. Data enters
// the page as text nodes only.
'use strict';
(() => {
  const data = JSON.parse(document.getElementById('data').textContent);
  const kStep = data.rowsShown;
  const grouped = (n) => String(n).replace(/\B(?=(\d{3})+$)/g, ',');

  const make = (tag, attributes, ...children) => {
    const node = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes || {})) node.setAttribute(name, value);
    node.append(...children);
    return node;
  };

  // A cell is a text, or [number, text]: the number sorts, the text is shown.
  const textOf = (cell) => (Array.isArray(cell) ? cell[1] : cell);

  function upgradeTable(source) {
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
    box.append(more);

    const render = () => {
      const rows = order.slice(0, shown).map((index) => {
        const row = document.createElement('tr');
        source.rows[index].forEach((cell, i) => {
          const node = document.createElement(source.names && i === 0 ? 'th' : 'td');
          if (source.names && i === 0) node.scope = 'row';
          if (source.numeric[i]) node.className = 'number';
          node.textContent = textOf(cell);
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
      const button = make('button', { type: 'button' });
      button.append(...header.childNodes);
      header.append(button);
      header.setAttribute('aria-sort', 'none');
      button.addEventListener('click', () => {
        // Numbers are wanted largest first; the third press gives the order of the analysis back.
        const first = source.numeric[i] ? -1 : 1;
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

  // Charts.
  const light = { ink: '#1c2430', soft: '#5a6675', line: '#dde2e8', paper: '#ffffff', bar: '#3b82b0',
    series: ['#3b82b0', '#c8642b', '#3f8f5b', '#8a5fb0', '#b08a1e', '#5a6675'] };
  const dark = { ink: '#e4e9ee', soft: '#9aa7b4', line: '#323b45', paper: '#1b2128', bar: '#4f9ccc',
    series: ['#4f9ccc', '#e08b55', '#63b37f', '#b08cd3', '#d3b04c', '#9aa7b4'] };
  const darkWanted = matchMedia('(prefers-color-scheme: dark)');
  let printing = false;
  const colours = () => (darkWanted.matches && !printing ? dark : light);

  const tip = (title, lines) => {
    const list = make('dl');
    for (const [key, value] of lines) list.append(make('dt', {}, key), make('dd', {}, value));
    return make('div', { class: 'tip' }, make('strong', {}, title), list);
  };

  const shortNumber = (value) => {
    const size = Math.abs(value);
    return size !== 0 && (size < 1e-4 || size >= 1e9) ? value.toExponential(2).replace(/\.?0+e/, 'e')
      : String(Number(value.toPrecision(6)));
  };

  const base = (c) => ({
    animation: false,
    textStyle: { color: c.ink, fontFamily: getComputedStyle(document.body).fontFamily },
    tooltip: { confine: true, backgroundColor: c.paper, borderColor: c.line, textStyle: { color: c.ink, fontSize: 13 } },
  });

  const valueAxis = (axis, c, extra) => Object.assign({
    type: 'value', name: axis.title, nameLocation: 'middle', nameTextStyle: { color: c.soft },
    min: axis.minimum ?? null, max: axis.maximum ?? null, interval: axis.step ?? undefined,
    axisLabel: { color: c.soft, formatter: shortNumber, hideOverlap: true }, splitLine: { lineStyle: { color: c.line } },
    axisLine: { lineStyle: { color: c.line } },
  }, extra);

  function barOption(chart, width, c) {
    const labelWidth = Math.min(Math.max(...chart.bars.map((bar) => bar.label.length), 4) * 8 + 12, width * 0.4);
    return Object.assign(base(c), {
      grid: { left: Math.round(labelWidth) + 8, right: 74, top: 6, bottom: 44 },
      xAxis: valueAxis({ title: chart.axis }, c, { nameGap: 28, splitNumber: width < 500 ? 3 : 5 }),
      yAxis: {
        type: 'category', inverse: true, data: chart.bars.map((bar) => bar.label), axisTick: { show: false },
        axisLine: { lineStyle: { color: c.line } },
        axisLabel: { color: c.ink, interval: 0, width: Math.round(labelWidth), overflow: 'truncate', ellipsis: '…',
          formatter: (label) => label.replace(/[\r\n]+/g, ' ') },
      },
      tooltip: Object.assign(base(c).tooltip, {
        trigger: 'axis', axisPointer: { type: 'shadow' },
        formatter: (points) => tip(chart.bars[points[0].dataIndex].label, chart.bars[points[0].dataIndex].details),
      }),
      series: [{
        type: 'bar', barMaxWidth: 18, itemStyle: { color: c.bar, borderRadius: [0, 3, 3, 0] },
        data: chart.bars.map((bar) => bar.value),
        label: { show: true, position: 'right', color: c.soft, fontSize: 12,
          formatter: (point) => chart.bars[point.dataIndex].text },
      }],
    });
  }

  function seriesOption(chart, width, c) {
    const categories = chart.layout === 'columns' ? chart.categories : null;
    const named = chart.series.filter((series) => series.name);
    const right = chart.series.some((series) => series.right);
    const yAxes = [valueAxis(chart.value, c, { nameGap: 52, scale: !categories })];
    if (right) yAxes.push(valueAxis(chart.right, c, { nameGap: 52, scale: true, splitLine: { show: false } }));
    return Object.assign(base(c), {
      color: c.series,
      legend: named.length > 1 ? { top: 0, textStyle: { color: c.ink }, data: named.map((series) => series.name) } : undefined,
      grid: { left: 74, right: right ? 74 : 20, top: named.length > 1 ? 36 : 12, bottom: 52 },
      xAxis: categories
        ? { type: 'category', data: categories, name: chart.position.title, nameLocation: 'middle', nameGap: 30,
          axisLabel: { color: c.soft, hideOverlap: true, width: Math.max(60, width / categories.length - 8), overflow: 'truncate' },
          nameTextStyle: { color: c.soft }, axisLine: { lineStyle: { color: c.line } } }
        : valueAxis(chart.position, c, { nameGap: 30, scale: true }),
      yAxis: yAxes,
      tooltip: Object.assign(base(c).tooltip, {
        trigger: 'item',
        formatter: (point) => {
          const series = chart.series[point.seriesIndex];
          const value = categories ? [categories[point.dataIndex], point.value] : point.value;
          const show = (x) => (typeof x === 'number' ? shortNumber(x) : String(x));
          return tip((series.labels && series.labels[point.dataIndex]) || series.name || chart.title,
            [[chart.position.title || 'x', show(value[0])], [chart.value.title || 'y', show(value[1])]]);
        },
      }),
      series: chart.series.map((series) => ({
        name: series.name, yAxisIndex: series.right ? 1 : 0, data: series.points,
        type: series.kind === 'bars' ? 'bar' : series.kind === 'line' ? 'line' : 'scatter',
        connectNulls: false, symbolSize: series.kind === 'line' ? 5 : 7, showSymbol: series.points.length <= 200,
      })),
    });
  }

  const drawn = [];
  function draw(chart) {
    if (chart.drawn || typeof echarts === 'undefined') return;
    chart.drawn = true;
    const node = document.getElementById(chart.id);
    chart.instance = echarts.init(node, null, { renderer: 'svg' });
    chart.paint = () => {
      // Paper is narrower than the window that the page is laid out in when printing begins.
      node.style.width = printing ? `${Math.min(node.parentNode.clientWidth, 680)}px` : '';
      chart.instance.resize();
      const option = chart.layout === 'bars' ? barOption : seriesOption;
      chart.instance.setOption(option(chart, node.clientWidth, colours()), true);
    };
    chart.paint();
    drawn.push(chart);
    let width = node.clientWidth;
    new ResizeObserver(() => {
      if (node.clientWidth === width) return;
      width = node.clientWidth;
      chart.paint();
    }).observe(node);
  }
  const repaint = () => drawn.forEach((chart) => chart.paint());

  data.tables.forEach(upgradeTable);
  const inView = new IntersectionObserver((entries) => {
    for (const entry of entries) {
      if (!entry.isIntersecting) continue;
      inView.unobserve(entry.target);
      draw(data.charts.find((chart) => chart.id === entry.target.id));
    }
  }, { rootMargin: '600px' });
  // The first ones are there at once, for whoever takes a picture of the page as soon as it has loaded.
  data.charts.slice(0, 6).forEach(draw);
  data.charts.slice(6).forEach((chart) => inView.observe(document.getElementById(chart.id)));

  darkWanted.addEventListener('change', repaint);
  addEventListener('beforeprint', () => {
    printing = true;
    document.querySelectorAll('.notices details').forEach((details) => { details.open = true; });
    data.charts.forEach(draw);
    repaint();
  });
  addEventListener('afterprint', () => {
    printing = false;
    repaint();
  });
})();
