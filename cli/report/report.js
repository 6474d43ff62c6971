// Draws the report's three plots with uPlot from the JSON block in the page.
(function () {
  "use strict";
  const data = JSON.parse(document.getElementById("report-data").textContent);
  document.getElementById("subtitle").textContent = data.title;
  document.getElementById("summary").textContent = data.summary;

  const colours = ["#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#8c564b", "#e377c2", "#17becf"];
  const width = () => Math.min(960, document.body.clientWidth || 960);
  const dbAxis = (label, scale, side) => ({ label: label, scale: scale, side: side || 3, size: 60,
                                            grid: { show: side !== 1 } });

  function levelsPlot(el, d) {
    const floor = -90;
    const clampDb = (v) => Math.max(v, floor);
    const opts = {
      width: width(), height: 360,
      scales: { x: { time: false }, level: { range: [floor, 6] }, gr: { range: [-Math.max(12, d.maxReductionDb + 3), 0] } },
      axes: [{ label: "time (s)" }, dbAxis("level (dBFS)", "level"), dbAxis("gain reduction (dB)", "gr", 1)],
      series: [
        { label: "time (s)" },
        { label: "input peak", scale: "level", stroke: "#999", width: 1 },
        { label: "output peak", scale: "level", stroke: colours[0], width: 1.5 },
        { label: "compressor GR", scale: "gr", stroke: colours[1], width: 1.5 },
        { label: "expander GR", scale: "gr", stroke: colours[2], width: 1.5 },
      ],
    };
    return new uPlot(opts, [d.timeS, d.inputDb.map(clampDb), d.outputDb.map(clampDb),
                            d.compReductionDb.map((v) => -v), d.expReductionDb.map((v) => -v)], el);
  }

  function eqPlot(el, d) {
    // The total goes first so it is drawn underneath: the stages and bands
    // often coincide with it over whole octaves.
    const series = [{ label: "frequency (Hz)" }, { label: "total", stroke: colours[0] + "99", width: 5 }];
    const columns = [d.frequencyHz, d.totalDb];
    series.push({ label: "before dynamics", stroke: "#555", width: 1.5 });
    columns.push(d.preDb);
    series.push({ label: "after dynamics", stroke: "#111", width: 1.5, dash: [2, 3] });
    columns.push(d.postDb);
    d.bands.forEach((b, i) => {
      series.push({ label: b.label, stroke: colours[(i + 3) % colours.length], width: 1.2, dash: [6, 4] });
      columns.push(b.db);
    });
    const all = columns.slice(1).flat();
    const span = Math.max(6, Math.ceil(Math.max(...all.map(Math.abs).filter((v) => v < 60)) + 2));
    const hz = d.frequencyHz;
    const opts = {
      width: width(), height: 360,
      scales: { x: { time: false, distr: 3, range: [hz[0], hz[hz.length - 1]] }, y: { range: [-span, span] } },
      axes: [{ label: "frequency (Hz)" }, dbAxis("magnitude (dB)", "y")],
      series: series,
    };
    return new uPlot(opts, columns, el);
  }

  function transferPlot(el, d) {
    const marks = d.marks;
    const shadeKnees = (u) => {
      const ctx = u.ctx, top = u.bbox.top, height = u.bbox.height;
      ctx.save();
      marks.forEach((m) => {
        const x0 = u.valToPos(m.fromDb, "x", true), x1 = u.valToPos(m.toDb, "x", true);
        if (x1 - x0 > 1) {
          ctx.fillStyle = m.colour + "22";
          ctx.fillRect(x0, top, x1 - x0, height);
        }
        const x = u.valToPos(m.thresholdDb, "x", true);
        ctx.strokeStyle = m.colour;
        ctx.setLineDash([5, 4]);
        ctx.lineWidth = 1.5;
        ctx.beginPath();
        ctx.moveTo(x, top);
        ctx.lineTo(x, top + height);
        ctx.stroke();
        ctx.fillStyle = m.colour;
        ctx.font = "12px sans-serif";
        ctx.fillText(m.label, x + 4, top + 14 + 14 * marks.indexOf(m));
      });
      ctx.restore();
    };
    const opts = {
      width: width(), height: 420,
      scales: { x: { time: false }, y: { range: [d.levelDb[0], d.levelDb[d.levelDb.length - 1] + 12] } },
      axes: [{ label: "detector level (dB)" }, dbAxis("output level (dB)", "y")],
      series: [
        { label: "level (dB)" },
        { label: "unity", stroke: "#bbb", width: 1, dash: [4, 4] },
        { label: "compressor", stroke: colours[1], width: 1.5 },
        { label: "expander", stroke: colours[2], width: 1.5 },
        { label: "total with makeup", stroke: colours[0], width: 2.5 },
      ],
      hooks: { draw: [shadeKnees] },
    };
    return new uPlot(opts, [d.levelDb, d.levelDb, d.compressorOutDb, d.expanderOutDb, d.totalOutDb], el);
  }

  const plots = [
    levelsPlot(document.getElementById("plot-levels"), data.levels),
    eqPlot(document.getElementById("plot-eq"), data.eq),
    transferPlot(document.getElementById("plot-transfer"), data.transfer),
  ];
  document.body.dataset.plots = String(plots.filter((p) => p.root.querySelector("canvas")).length);
  if (document.body.dataset.status === "loading") document.body.dataset.status = "ok";
})();
