// Charts of the page: bars, lines and points over numeric axes, columns, box plots, diamonds of
// means and 3-D histograms, drawn by ECharts from plain data, in the colours of the page, when
// they come into view. Texts reach the page as text nodes or through the library's own text
// drawing, never as markup.
const pageCharts = (() => {
  const light = { ink: '#1c2430', soft: '#5a6675', line: '#dde2e8', paper: '#ffffff', bar: '#3b82b0', shade: '#22638f',
    series: ['#3b82b0', '#c8642b', '#3f8f5b', '#8a5fb0', '#b08a1e', '#5a6675', '#b8476b', '#2b9a9a'] };
  const dark = { ink: '#e4e9ee', soft: '#9aa7b4', line: '#323b45', paper: '#1b2128', bar: '#4f9ccc', shade: '#7fc0ee',
    series: ['#4f9ccc', '#e08b55', '#63b37f', '#b08cd3', '#d3b04c', '#9aa7b4', '#e07a9c', '#5cc4c4'] };
  const darkWanted = matchMedia('(prefers-color-scheme: dark)');
  let printing = false;
  const colours = () => (darkWanted.matches && !printing ? dark : light);
  const kPaper = 680;  // pixels across
  const kMost3dAtOnce = 6;  // browsers keep few drawing contexts alive

  const tip = (title, lines) => {
    const list = make('dl');
    for (const [key, value] of lines) list.append(make('dt', {}, key), make('dd', {}, value));
    return make('div', { class: 'tip' }, make('strong', {}, title), list);
  };
  // The text that a script of the chart gave, its first line as heading.
  const scriptTip = (text) => {
    const lines = text.split(/\r?\n/).map((line) => line.trim());
    const first = lines.findIndex((line) => line);
    return make('div', { class: 'tip' }, make('strong', {}, lines[first] || ''),
      make('div', { class: 'lines' }, lines.slice(first + 1).join('\n').trim()));
  };

  const shortNumber = (value) => {
    const size = Math.abs(value);
    return size !== 0 && (size < 1e-4 || size >= 1e9) ? value.toExponential(2).replace(/\.?0+e/, 'e')
      : String(Number(value.toPrecision(6)));
  };
  const shown = (value) => (typeof value === 'number' ? shortNumber(value) : value === null || value === undefined ? '' : String(value));

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

  // Texts below an axis: level when they fit, slanted and cut when not. bottom: their room below
  // the axis.
  const kLetter = 6.6;
  function textsBelow(labels, width) {
    const longest = Math.max(...labels.map((label) => label.length), 1);
    const level = longest * kLetter + 10 <= width / labels.length;
    const cut = level ? longest : Math.min(longest, 24);
    const slant = labels.length > width / 34 ? 60 : 40;
    const room = level ? 18 : cut * kLetter * Math.sin(slant * Math.PI / 180) + 14;
    const text = (label) => {
      const line = label.replace(/[\r\n]+/g, ' ');
      // Labels often differ at their ends.
      return line.length > cut ? `${line.slice(0, cut * 0.6)}…${line.slice(1 - cut * 0.4)}` : line;
    };
    return { bottom: Math.round(room), label: { rotate: level ? 0 : slant, interval: 0, fontSize: 11.5, hideOverlap: false }, text };
  }

  // Room for slanted labels is added to the height, not taken from the drawing.
  const roomFor = (chart, bottom) => chart.baseHeight + Math.max(0, bottom - 60);

  function barOption(chart, width, c) {
    const labelWidth = Math.min(Math.max(...chart.bars.map((bar) => bar.label.length), 4) * 8 + 12, width * 0.4);
    return Object.assign(base(c), {
      grid: { left: Math.round(labelWidth) + 8, right: 74, top: 6, bottom: 44 },
      xAxis: valueAxis({ title: chart.value.title }, c, { nameGap: 28, splitNumber: width < 500 ? 3 : 5 }),
      yAxis: {
        type: 'category', inverse: true, data: chart.bars.map((bar) => bar.label), axisTick: { show: false },
        axisLine: { lineStyle: { color: c.line } },
        axisLabel: { color: c.ink, interval: 0, width: Math.round(labelWidth), overflow: 'truncate', ellipsis: '…',
          formatter: (label) => label.replace(/[\r\n]+/g, ' ') },
      },
      tooltip: Object.assign(base(c).tooltip, {
        trigger: 'axis', axisPointer: { type: 'shadow' },
        formatter: ([point]) => tip(chart.bars[point.dataIndex].label, [[chart.value.title, chart.bars[point.dataIndex].text]]),
      }),
      series: [{
        type: 'bar', barMaxWidth: 18, itemStyle: { color: c.bar, borderRadius: [0, 3, 3, 0] },
        data: chart.bars.map((bar) => bar.value),
        label: { show: true, position: 'right', color: c.soft, fontSize: 12,
          formatter: (point) => chart.bars[point.dataIndex].text },
      }],
    });
  }

  // The room for the numbers beside a value axis, in pixels.
  function numbersBeside(series) {
    let longest = 3;
    for (const one of series) {
      const values = one.boxes ? one.boxes.flatMap((box) => [box[1], box[5], box[7], box[8]]) : one.points.map((point) => (Array.isArray(point) ? point[1] : point));
      for (const value of values) {
        if (value !== null && value !== undefined) longest = Math.max(longest, shortNumber(Number(value.toPrecision(2))).length);
      }
    }
    return Math.min(longest, 11) * 7.4 + 12;
  }

  const legendOf = (chart, c) => {
    const named = chart.series.filter((series) => series.name).map((series) => series.name);
    return named.length > 1
      ? { top: 0, type: printing && named.length < 4 ? 'plain' : 'scroll', textStyle: { color: c.ink }, pageTextStyle: { color: c.soft }, pageIconColor: c.soft,
        itemHeight: 10, data: named }
      : undefined;
  };

  // Places on a position axis: numbers, or the texts of its ticks.
  function positionAxis(chart, width, c, gridLeft) {
    const ticks = chart.position.ticks;
    if (!ticks) return { bottom: 30, axis: valueAxis(chart.position, c, { nameGap: 30, scale: true, splitLine: { show: false } }) };
    const places = ticks.map((tick) => tick[0]);
    const gap = places.length > 1 ? Math.min(...places.slice(1).map((place, i) => Math.abs(place - places[i]))) : 1;
    const texts = textsBelow(ticks.map((tick) => tick[1]), width - gridLeft - 24);
    const byPlace = new Map(ticks.map((tick) => [tick[0], texts.text(tick[1])]));
    return {
      bottom: texts.bottom,
      axis: valueAxis(chart.position, c, {
        nameGap: texts.bottom + 8, min: chart.position.minimum ?? Math.min(...places) - gap * 0.6,
        max: chart.position.maximum ?? Math.max(...places) + gap * 0.6, interval: undefined, splitLine: { show: false },
        axisTick: { customValues: places },
        axisLabel: Object.assign({ color: c.soft, customValues: places, formatter: (value) => byPlace.get(value) ?? '' }, texts.label),
      }),
    };
  }

  const isGap = (point) => point[0] === null || point[1] === null;
  const hasGaps = (series) => series.kind === 'line' && series.points.some(isGap);

  // The pieces of a line with gaps: [left, right, height].
  function piecesOf(series) {
    const pieces = [];
    let from = null;
    for (const point of [...series.points, [null, null]]) {
      if (isGap(point)) {
        from = null;
      } else if (from === null) {
        from = point;
      } else if (from[1] === point[1]) {
        pieces.push([from[0], point[0], point[1]]);
      }
    }
    return pieces;
  }

  function lineSeries(chart, series, index, c) {
    const segments = hasGaps(series);
    const area = !segments && !series.right && series.kind === 'line' && chart.series.some(hasGaps);
    const colour = c.series[index % c.series.length];
    const list = [{
      name: series.name, yAxisIndex: series.right ? 1 : 0, data: series.points,
      type: series.kind === 'bars' ? 'bar' : series.kind === 'line' ? 'line' : 'scatter', color: colour,
      connectNulls: false, symbolSize: series.kind === 'line' ? 6 : series.points.length > 300 ? 4 : 6,
      showSymbol: series.kind !== 'line' || (!segments && series.points.length <= 60),
      lineStyle: { width: segments ? 3.5 : 2, cap: 'butt' }, areaStyle: area ? { opacity: 0.16 } : undefined,
      itemStyle: series.kind === 'scatter' ? { opacity: series.points.length > 100 ? 0.35 : 0.7 } : undefined,
      z: segments ? 4 : 2, silent: segments || area,
    }];
    if (segments) {
      // The heights of the pieces as numbers, as many as there is room for.
      list.push({
        type: 'scatter', data: piecesOf(series).map(([left, right, height]) => [(left + right) / 2, height]), symbolSize: 1,
        yAxisIndex: series.right ? 1 : 0, silent: true, itemStyle: { color: 'transparent' }, z: 5, tooltip: { show: false },
        label: { show: true, position: 'top', distance: 5, color: c.ink, fontSize: 11.5,
          formatter: (point) => shortNumber(Number(point.value[1].toPrecision(3))) },
        labelLayout: { hideOverlap: true },
      });
    }
    return list;
  }

  // Covers every stretch of the position axis that has its own text: pointing anywhere in it shows
  // the text.
  function bandSeries(chart, c) {
    return {
      type: 'custom', data: chart.tips.map((stretch) => [stretch[0], stretch[1]]), z: 9, clip: true,
      encode: { x: [0, 1] }, tooltip: { formatter: (point) => scriptTip(chart.tips[point.dataIndex][2]) },
      renderItem: (params, api) => {
        const left = api.coord([api.value(0), 0])[0];
        const right = api.coord([api.value(1), 0])[0];
        const area = params.coordSys;
        return {
          type: 'rect', shape: { x: left, y: area.y, width: Math.max(right - left, 1), height: area.height },
          style: { fill: c.shade, opacity: 0 }, emphasis: { style: { opacity: 0.09 } },
        };
      },
    };
  }

  const kBoxWidth = 0.56;  // of the gap between boxes
  const figuresOf = (box) => [['maximum', box[5]], ['upper quartile', box[4]], ['median', box[3]], ['lower quartile', box[2]],
    ['minimum', box[1]], ['mean', box[6]], ['lower 95 % limit', box[7]], ['upper 95 % limit', box[8]], ['n', box[9]]]
    .filter((figure) => figure[1] !== null).map(([name, value]) => [name, shortNumber(value)]);

  function boxTip(chart, series, i) {
    if (series.tips && series.tips[i]) return scriptTip(series.tips[i]);
    const tick = (chart.position.ticks || []).find((one) => one[0] === series.boxes[i][0]);
    return tip((series.labels && series.labels[i]) || (tick ? tick[1] : series.name), figuresOf(series.boxes[i]));
  }

  function boxSeries(chart, series, index, c) {
    const colour = c.series[index % c.series.length];
    const places = series.boxes.map((box) => box[0]);
    const gap = places.length > 1 ? Math.min(...places.slice(1).map((place, i) => Math.abs(place - places[i]))) : 1;
    return {
      name: series.name, type: 'custom', data: series.boxes, color: colour, encode: { x: 0, y: [1, 2, 3, 4, 5] }, z: 3,
      tooltip: { formatter: (point) => boxTip(chart, series, point.dataIndex) },
      renderItem: (params, api) => {
        const box = series.boxes[params.dataIndex];
        const x = api.coord([box[0], 0])[0];
        const width = Math.min(Math.abs(api.coord([box[0] + gap, 0])[0] - x) * kBoxWidth, 64);
        const y = (value) => api.coord([box[0], value])[1];
        const line = (x1, y1, x2, y2, thick) => ({ type: 'line', shape: { x1, y1, x2, y2 }, style: { stroke: colour, lineWidth: thick } });
        const children = [];
        if (box[1] !== null && box[5] !== null) {
          children.push(line(x, y(box[1]), x, y(box[2] ?? box[5]), 1.4), line(x, y(box[4] ?? box[1]), x, y(box[5]), 1.4),
            line(x - width / 4, y(box[1]), x + width / 4, y(box[1]), 1.4), line(x - width / 4, y(box[5]), x + width / 4, y(box[5]), 1.4));
        }
        if (box[2] !== null && box[4] !== null) {
          const [top, bottom] = [y(box[4]), y(box[2])];
          children.push({ type: 'rect', shape: { x: x - width / 2, y: top, width, height: Math.max(bottom - top, 1), r: 2 },
            style: { fill: colour, fillOpacity: 0.22, stroke: colour, lineWidth: 1.4 } });
        }
        if (box[3] !== null) children.push(line(x - width / 2, y(box[3]), x + width / 2, y(box[3]), 3));
        if (box[6] !== null) {
          children.push({ type: 'circle', shape: { cx: x, cy: y(box[6]), r: 3.5 }, style: { fill: c.paper, stroke: colour, lineWidth: 1.6 } });
        }
        return { type: 'group', children };
      },
    };
  }

  // A mean as wide as its bin, as high as its confidence interval.
  function diamondSeries(chart, series, index, c) {
    const colour = c.series[index % c.series.length];
    const left = (i) => (series.points && series.points[i] ? series.points[i][0] : series.boxes[i][0] - 0.4);
    const right = (i) => (series.points && series.points[i] ? series.points[i][1] : series.boxes[i][0] + 0.4);
    return {
      name: series.name, type: 'custom', color: colour, z: 5, encode: { x: [0, 1], y: [2, 3, 4] },
      data: series.boxes.map((box, i) => [left(i), right(i), box[7] ?? box[6], box[6], box[8] ?? box[6]]),
      tooltip: { formatter: (point) => boxTip(chart, series, point.dataIndex) },
      renderItem: (params, api) => {
        const at = (x, y) => api.coord([x, y]);
        const [x1, x2, low, mean, high] = [0, 1, 2, 3, 4].map((dimension) => api.value(dimension));
        if (Number.isNaN(mean)) return undefined;
        const middle = (x1 + x2) / 2;
        const points = [at(x1, mean), at(middle, high), at(x2, mean), at(middle, low)];
        return { type: 'group', children: [
          { type: 'polygon', shape: { points }, style: { fill: colour, fillOpacity: 0.28, stroke: colour, lineWidth: 1.8 } },
          { type: 'line', shape: { x1: points[0][0], y1: points[0][1], x2: points[2][0], y2: points[2][1] }, style: { stroke: colour, lineWidth: 1.8 } }] };
      },
    };
  }

  function xyOption(chart, width, c) {
    const right = chart.series.some((series) => series.right);
    const legend = legendOf(chart, c);
    const beside = numbersBeside(chart.series.filter((series) => !series.right));
    const left = beside + 28;
    const position = positionAxis(chart, width, c, left);
    const segments = chart.series.some(hasGaps);
    if (segments) Object.assign(position.axis, { min: 'dataMin', max: 'dataMax', axisLabel: Object.assign(position.axis.axisLabel, { showMinLabel: false, showMaxLabel: false }) });
    const yAxes = [valueAxis(chart.value, c, { nameGap: beside + 6, scale: !segments || chart.scaled })];
    if (right) yAxes.push(valueAxis(chart.right, c, { nameGap: 40, scale: true, splitLine: { show: false } }));
    const series = chart.series.flatMap((one, index) => {
      if (one.kind === 'boxes') return [boxSeries(chart, one, index, c)];
      if (one.kind === 'diamonds') return [diamondSeries(chart, one, index, c)];
      return lineSeries(chart, one, index, c);
    });
    if (chart.tips) series.push(bandSeries(chart, c));
    chart.wantedHeight = roomFor(chart, position.bottom);
    const tickText = (x) => {
      const tick = (chart.position.ticks || []).find((one) => one[0] === x);
      return tick ? tick[1] : shown(x);
    };
    return Object.assign(base(c), {
      color: c.series, legend, xAxis: position.axis, yAxis: yAxes, series,
      grid: { left, right: right ? 66 : 24, top: legend ? 38 : 18, bottom: position.bottom + 26 },
      tooltip: Object.assign(base(c).tooltip, {
        trigger: 'item',
        formatter: (point) => {
          const one = chart.series.find((candidate) => candidate.name === point.seriesName) || chart.series[0];
          if (one.tips && one.tips[point.dataIndex]) return scriptTip(one.tips[point.dataIndex]);
          return tip((chart.position.ticks && one.name) || (one.labels && one.labels[point.dataIndex]) || one.name || chart.title,
            [[chart.position.title || 'x', tickText(point.value[0])], [chart.value.title || 'y', shown(point.value[1])]]);
        },
      }),
    });
  }

  function columnOption(chart, width, c) {
    const legend = legendOf(chart, c);
    const beside = numbersBeside(chart.series);
    const texts = textsBelow(chart.categories, width - beside - 52);
    chart.wantedHeight = roomFor(chart, texts.bottom);
    return Object.assign(base(c), {
      color: c.series, legend,
      grid: { left: beside + 28, right: 24, top: legend ? 38 : 18, bottom: texts.bottom + 26 },
      xAxis: { type: 'category', data: chart.categories, name: chart.position.title, nameLocation: 'middle', nameGap: texts.bottom + 8,
        nameTextStyle: { color: c.soft }, axisLine: { lineStyle: { color: c.line } },
        axisLabel: Object.assign({ color: c.soft, formatter: texts.text }, texts.label) },
      yAxis: valueAxis(chart.value, c, { nameGap: beside + 6 }),
      tooltip: Object.assign(base(c).tooltip, {
        trigger: 'item',
        formatter: (point) => {
          const series = chart.series[point.seriesIndex];
          if (series.tips && series.tips[point.dataIndex]) return scriptTip(series.tips[point.dataIndex]);
          return tip(chart.categories[point.dataIndex],
            [[series.name || chart.value.title || chart.title, shown(series.points[point.dataIndex])]]);
        },
      }),
      series: chart.series.map((series) => ({ type: 'bar', name: series.name, data: series.points, barMaxWidth: 46,
        barCategoryGap: '24%', stack: chart.stacked ? 'all' : undefined, itemStyle: chart.stacked ? {} : { borderRadius: [2, 2, 0, 0] } })),
    });
  }

  // Bins side by side, equally wide: a bar for the share of the cases, a point with its
  // interval for the level of the response, joined by a line where the bins have an order,
  // and the level of all cases.
  function binsOption(chart, width, c) {
    const beside = 42, right = numbersBeside([{ points: [...chart.low, ...chart.high] }]) + 20;
    const texts = textsBelow(chart.categories, width - beside - right - 24);
    chart.wantedHeight = roomFor(chart, texts.bottom);
    const strong = c.series[1];
    const level = chart.level.map((value, bin) => (chart.apart.includes(bin) ? null : value));
    const whisker = (params, api) => {
      const bin = params.dataIndex;
      const at = (value) => api.coord([bin, value]);
      const [x, low] = at(chart.low[bin]);
      const high = at(chart.high[bin])[1];
      const line = (x1, y1, x2, y2) => ({ type: 'line', shape: { x1, y1, x2, y2 }, style: { stroke: strong, lineWidth: 1.6 } });
      const marks = chart.low[bin] === null ? [] : [line(x, low, x, high), line(x - 5, low, x + 5, low), line(x - 5, high, x + 5, high)];
      const [, y] = at(chart.level[bin]);
      return { type: 'group', children: chart.level[bin] === null ? [] : [...marks,
        { type: 'circle', shape: { cx: x, cy: y, r: 4 }, style: { fill: c.paper, stroke: strong, lineWidth: 2 } }] };
    };
    return Object.assign(base(c), {
      color: [c.bar, strong],
      legend: { top: 0, textStyle: { color: c.ink }, itemHeight: 10, data: [chart.sizeTitle, chart.levelTitle], selectedMode: false },
      grid: { left: beside + 20, right, top: 38, bottom: texts.bottom + 26 },
      xAxis: { type: 'category', data: chart.categories, name: chart.position.title, nameLocation: 'middle', nameGap: texts.bottom + 8,
        nameTextStyle: { color: c.soft }, axisTick: { show: false }, axisLine: { lineStyle: { color: c.line } },
        axisLabel: Object.assign({ color: c.soft, formatter: texts.text }, texts.label) },
      yAxis: [valueAxis({ title: chart.sizeTitle, minimum: 0 }, c, { nameGap: beside - 6, splitLine: { show: false } }),
        valueAxis({ title: chart.levelTitle }, c, { nameGap: right - 16, scale: !chart.fromZero })],
      tooltip: Object.assign(base(c).tooltip, { trigger: 'axis', axisPointer: { type: 'shadow' },
        formatter: (points) => scriptTip(chart.tips[points[0].dataIndex]) }),
      series: [
        { type: 'bar', name: chart.sizeTitle, barMaxWidth: 64, barCategoryGap: '28%', itemStyle: { color: c.bar, opacity: 0.42 },
          data: chart.size.map((value, bin) => ({ value, itemStyle: { color: chart.apart.includes(bin) ? c.soft : c.bar, opacity: 0.42,
            borderRadius: [2, 2, 0, 0] } })) },
        { type: 'line', name: chart.levelTitle, yAxisIndex: 1, data: level, showSymbol: false, silent: true, color: strong, lineStyle: { width: 2 },
          markLine: { silent: true, symbol: 'none', data: [{ yAxis: chart.whole }], lineStyle: { color: c.soft, type: 'dashed', width: 1 },
            label: { show: true, position: 'insideEndTop', color: c.soft, fontSize: 11, formatter: 'all cases' } } },
        { type: 'custom', yAxisIndex: 1, z: 5, silent: true, encode: { x: 0, y: [1, 2, 3] }, renderItem: whisker,
          data: chart.level.map((value, bin) => [bin, value, chart.low[bin], chart.high[bin]]) },
      ],
    });
  }

  // One signed bar for each bin, its figure at the end.
  function signedOption(chart, width, c) {
    const beside = numbersBeside([{ points: chart.points }]);
    const texts = textsBelow(chart.categories, width - beside - 52);
    chart.wantedHeight = roomFor(chart, texts.bottom);
    return Object.assign(base(c), {
      grid: { left: beside + 28, right: 24, top: 38, bottom: texts.bottom + 26 },
      xAxis: { type: 'category', data: chart.categories, name: chart.position.title, nameLocation: 'middle', nameGap: texts.bottom + 8,
        nameTextStyle: { color: c.soft }, axisTick: { show: false }, axisLine: { onZero: false, lineStyle: { color: c.line } },
        axisLabel: Object.assign({ color: c.soft, formatter: texts.text }, texts.label) },
      yAxis: valueAxis(chart.value, c, { nameGap: beside + 6 }),
      tooltip: Object.assign(base(c).tooltip, { trigger: 'axis', axisPointer: { type: 'shadow' },
        formatter: (points) => scriptTip(chart.tips[points[0].dataIndex]) }),
      series: [{ type: 'bar', barMaxWidth: 64, barCategoryGap: '28%',
        data: chart.points.map((value) => ({ value, itemStyle: { color: value < 0 ? c.series[1] : c.bar },
          label: { show: value !== null, position: value < 0 ? 'bottom' : 'top', color: c.ink, fontSize: 11.5,
            formatter: () => shortNumber(Number(value.toPrecision(3))) } })) }],
    });
  }

  // One histogram per series, all on the same scale, side by side as far as their bars stay
  // apart. The bars have the colours of their categories where those are few: they are the
  // lines of the other charts.
  const kMostPanels = 24;
  function panelOption(chart, width, c) {
    const panels = chart.series.slice(0, kMostPanels);
    const bars = chart.categories.length;
    const across = Math.max(1, Math.min(Math.floor((width - 40) / Math.max(132, bars * 13)), Math.ceil(Math.sqrt(panels.length))));
    const down = Math.ceil(panels.length / across);
    const height = printing ? 58 : down <= 4 ? 86 : 70;
    const texts = textsBelow(chart.categories, (width - 60) / across - 12);
    const leftmost = texts.bottom > 30 ? 62 : 42;
    const cell = (width - leftmost - 4) / across;
    // The axis ends at a number with two significant digits, which fits beside the first panel.
    const largest = Math.max(...panels.flatMap((series) => series.points.map((value) => value || 0)), 0);
    const unit = 10 ** (Math.floor(Math.log10(largest || 1)) - 1);
    const highest = Number((Math.ceil(largest / unit - 1e-9) * unit).toPrecision(2));
    const colour = (panel, bar) => c.series[(bars <= c.series.length && panels.length > 1 ? bar : panel) % c.series.length];
    const grid = [], xAxis = [], yAxis = [], series = [], title = [];
    panels.forEach((one, i) => {
      const left = leftmost + (i % across) * cell, top = Math.floor(i / across) * height + 22;
      grid.push({ left, width: cell - 12, top, height: height - 26 });
      title.push({ text: one.name, left: left - 5, top: top - 23, textStyle: { fontSize: 11.5, fontWeight: 600, color: c.ink, width: cell - 10,
        overflow: 'truncate' } });
      xAxis.push({ type: 'category', gridIndex: i, data: chart.categories, axisTick: { show: false }, axisLine: { lineStyle: { color: c.line } },
        axisLabel: Object.assign({ color: c.soft, formatter: texts.text }, texts.label, { show: i + across >= panels.length }) });
      yAxis.push(valueAxis({ maximum: highest }, c, { gridIndex: i, interval: highest || 1,
        axisLabel: { show: i % across === 0, color: c.soft, fontSize: 11, formatter: shortNumber } }));
      series.push({ type: 'bar', name: one.name, xAxisIndex: i, yAxisIndex: i, barCategoryGap: '14%', barMaxWidth: 40,
        data: one.points.map((value, bar) => ({ value, itemStyle: { color: colour(i, bar), borderRadius: [2, 2, 0, 0] } })) });
    });
    const below = down * height + texts.bottom;
    let ending = chart.position.title;
    if (panels.length < chart.series.length) ending += ` (${panels.length} of ${chart.series.length} drawn)`;
    title.push({ text: ending, left: 'center', top: below + 2, textStyle: { fontSize: 12, fontWeight: 400, color: c.soft } });
    chart.wantedHeight = below + 26;
    return Object.assign(base(c), { grid, xAxis, yAxis, series, title,
      tooltip: Object.assign(base(c).tooltip, { trigger: 'item',
        formatter: (point) => {
          const one = panels[point.seriesIndex];
          if (one.tips && one.tips[point.dataIndex]) return scriptTip(one.tips[point.dataIndex]);
          return tip(one.name, [[chart.categories[point.dataIndex], shown(one.points[point.dataIndex])]]);
        } }) });
  }

  const cellTip = (chart, x, y, z) => tip(`${chart.xTexts[x]}, ${chart.yTexts[y]}`, [[chart.value.title || 'frequency', shown(z)]]);

  // A map of the same counts, for paper and for browsers without 3-D drawing.
  function mapOption(chart, width, c) {
    const texts = textsBelow(chart.xTexts, width - 130);
    chart.wantedHeight = roomFor(chart, texts.bottom);
    const left = Math.min(Math.max(...chart.yTexts.map((text) => text.length)) * kLetter + 34, width * 0.35);
    const highest = Math.max(...chart.cells.map((cell) => cell[2]), 1e-300);
    return Object.assign(base(c), {
      grid: { left, right: 20, top: 12, bottom: texts.bottom + 34 },
      xAxis: { type: 'category', data: chart.xTexts, name: chart.position.title, nameLocation: 'middle', nameGap: texts.bottom + 8,
        nameTextStyle: { color: c.soft }, axisTick: { show: false }, axisLine: { show: false },
        axisLabel: Object.assign({ color: c.soft, formatter: texts.text }, texts.label) },
      yAxis: { type: 'category', data: chart.yTexts, name: chart.depth.title, nameTextStyle: { color: c.soft }, axisTick: { show: false },
        axisLine: { show: false }, axisLabel: { color: c.soft, interval: 0, width: left - 26, overflow: 'truncate' } },
      visualMap: { show: false, min: 0, max: highest, inRange: { color: [c.paper, c.bar] } },
      tooltip: Object.assign(base(c).tooltip, { trigger: 'item', formatter: (point) => cellTip(chart, ...point.value) }),
      series: [{ type: 'heatmap', data: chart.cells, itemStyle: { borderColor: c.line, borderWidth: 1 },
        label: { show: chart.cells.length <= 120, color: c.ink, fontSize: 11.5, formatter: (point) => shortNumber(Number(point.value[2].toPrecision(3))) },
        labelLayout: { hideOverlap: true } }],
    });
  }

  // The line heights keep the library from cutting its texts.
  function threeOption(chart, width, c) {
    const axis = (title, data) => ({ type: 'category', data: data.map((text) => (text.length > 16 ? `${text.slice(0, 15)}…` : text)), name: title,
      nameGap: 46, nameTextStyle: { color: c.soft, fontSize: 13, lineHeight: 24 }, axisLine: { lineStyle: { color: c.soft } }, splitLine: { lineStyle: { color: c.line } },
      axisLabel: { margin: 14, textStyle: { color: c.soft, fontSize: 12, lineHeight: 22 }, interval: Math.ceil(data.length / 8) - 1 } });
    return Object.assign(base(c), {
      grid3D: { boxWidth: 110, boxDepth: 80, boxHeight: 62, viewControl: { distance: 168 * Math.max(1, 700 / width), alpha: 26, beta: 32, center: [0, -13, 0], zoomSensitivity: 0 },
        axisPointer: { show: false }, light: { main: { intensity: 1.1, alpha: 45, beta: 30 }, ambient: { intensity: 0.45 } }, environment: 'none' },
      xAxis3D: axis(chart.position.title, chart.xTexts), yAxis3D: axis(chart.depth.title, chart.yTexts),
      zAxis3D: { type: 'value', name: chart.value.title, nameGap: 30, nameTextStyle: { color: c.soft, fontSize: 13, lineHeight: 24 },
        axisLabel: { margin: 10, textStyle: { color: c.soft, fontSize: 12, lineHeight: 22 } }, axisLine: { lineStyle: { color: c.soft } }, splitLine: { lineStyle: { color: c.line } } },
      tooltip: Object.assign(base(c).tooltip, { formatter: (point) => cellTip(chart, ...point.value) }),
      series: [{ type: 'bar3D', shading: 'lambert', bevelSize: 0.1,
        data: chart.cells.map((cell) => ({ value: cell, itemStyle: { color: c.series[cell[1] % c.series.length] } })) }],
    });
  }

  let webGl;
  const has3d = () => {
    if (webGl === undefined) {
      const canvas = document.createElement('canvas');
      try {
        const context = canvas.getContext('webgl2') || canvas.getContext('webgl');
        webGl = Boolean(context) && typeof echarts !== 'undefined';
        const loss = context && context.getExtension('WEBGL_lose_context');
        if (loss) loss.loseContext();
      } catch (failure) {
        webGl = false;
      }
    }
    return webGl;
  };

  const options = { bars: barOption, xy: xyOption, columns: columnOption, bins: binsOption, signed: signedOption, panels: panelOption, cells: mapOption, map: mapOption };
  const drawn = [];

  function dispose(chart) {
    if (chart.instance) chart.instance.dispose();
    chart.instance = null;
  }

  function paint(chart) {
    const node = chart.node;
    // Paper is narrower than the window that the page is laid out in when printing begins, and two
    // panels of a screening go on a sheet.
    const beside = node.closest('.graphs');
    const ofTwo = beside && beside.children.length > 1;
    node.style.width = printing ? `${ofTwo ? kPaper / 2 - 14 : kPaper}px` : '';
    chart.screenHeight = chart.screenHeight || parseInt(node.style.height, 10);
    chart.baseHeight = printing && beside ? 220 : chart.screenHeight;
    chart.wantedHeight = chart.baseHeight;
    const width = node.clientWidth;
    if (width === 0) return;
    let in3d = chart.layout === 'cells' && chart.inSight && !printing && has3d();
    const make3d = () => threeOption(chart, width, colours());
    const option = in3d ? null : options[chart.layout](chart, width, colours());
    node.style.height = `${chart.wantedHeight}px`;
    if (chart.instance && chart.in3d !== in3d) dispose(chart);
    for (;;) {
      try {
        if (!chart.instance) chart.instance = echarts.init(node, null, { renderer: in3d ? 'canvas' : 'svg' });
        chart.in3d = in3d;
        chart.instance.resize();
        chart.instance.setOption(option || (in3d ? make3d() : options[chart.layout](chart, width, colours())), true);
        return;
      } catch (failure) {
        if (!in3d) throw failure;
        webGl = false;  // the browser reports it but cannot draw with it
        in3d = false;
        dispose(chart);
      }
    }
  }

  // The wheel moves the page, over a 3-D chart too.
  const keepWheel = (node) => ['wheel', 'mousewheel'].forEach((kind) => node.addEventListener(kind, (event) => event.stopPropagation(), { capture: true }));

  // Draws a chart into its place in the page at once.
  function draw(chart) {
    if (chart.drawn || typeof echarts === 'undefined') return;
    chart.drawn = true;
    chart.node = chart.node || document.getElementById(chart.id);
    if (chart.layout === 'cells') keepWheel(chart.node);
    paint(chart);
    drawn.push(chart);
    let width = chart.node.clientWidth;
    new ResizeObserver(() => {
      if (chart.node.clientWidth === width) return;
      width = chart.node.clientWidth;
      paint(chart);
    }).observe(chart.node);
  }

  // 3-D charts are live while they are in sight, the nearest few of them.
  function keep3d(chart, visible) {
    if (chart.layout !== 'cells' || !has3d()) return;
    chart.inSight = visible && drawn.filter((one) => one !== chart && one.in3d && one.instance).length < kMost3dAtOnce;
    if (chart.drawn && chart.in3d !== chart.inSight) paint(chart);
  }

  const byNode = new Map();
  const inView = new IntersectionObserver((entries) => {
    for (const entry of entries) {
      const chart = byNode.get(entry.target);
      keep3d(chart, entry.isIntersecting);
      if (entry.isIntersecting) draw(chart);
      if (chart.drawn && chart.layout !== 'cells') inView.unobserve(entry.target);
    }
  }, { rootMargin: '400px' });

  // node: where the chart goes; without one the element with the chart's id.
  function place(chart, node) {
    chart.node = node || document.getElementById(chart.id);
    if (!chart.node) return;
    byNode.set(chart.node, chart);
    inView.observe(chart.node);
  }

  const repaint = () => drawn.forEach(paint);
  darkWanted.addEventListener('change', repaint);
  addEventListener('beforeprint', () => {
    printing = true;
    document.querySelectorAll('.notices details').forEach((details) => { details.open = true; });
    byNode.forEach(draw);
    repaint();
  });
  addEventListener('afterprint', () => {
    printing = false;
    repaint();
  });
  return { place, draw, shortNumber };
})();
