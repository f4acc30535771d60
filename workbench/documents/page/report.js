// A workbook's page. The first charts are drawn at once, for whoever takes a picture of the page as soon as it has
// loaded. Without scripts the page still shows the first rows of every table and all texts.
(() => {
  pageData.tables.forEach(upgradeTable);
  pageData.charts.forEach((chart, i) => {
    if (i < 6) pageCharts.draw(chart);
    pageCharts.place(chart);
  });
})();
