'use strict';
// Draws the page from the report in it, which is what "tsport report --json" writes. Texts of the report become text
// nodes and attributes alone, never markup.

const report = JSON.parse(document.getElementById('report').textContent);

// -- Elements ---------------------------------------------------------------------------------------------------------

function append(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  element.append(...children);
  return element;
}
function html(name, attributes, ...children) {
  return append(document.createElement(name), attributes, children);
}
function svg(name, attributes, ...children) {
  return append(document.createElementNS('http://www.w3.org/2000/svg', name), attributes, children);
}
// A section that the page shows once it has something in it.
function show(id, ...children) {
  const section = document.getElementById(id);
  section.append(...children);
  section.hidden = false;
}
// What may be wider than the page scrolls, with the keyboard too.
function scrolling(attributes, ...children) {
  return html('div', {class: 'wide', tabindex: 0, role: 'region', ...attributes}, ...children);
}

// -- Figures ----------------------------------------------------------------------------------------------------------

function grouped(number) {
  return number.toLocaleString('en-US');
}
function counted(number, what) {
  return `${grouped(number)} ${what}${number === 1 ? '' : 's'}`;
}
function size(bytes) {
  const units = ['B', 'KiB', 'MiB', 'GiB', 'TiB'];
  let unit = 0;
  for (; bytes >= 1024 && unit + 1 < units.length; ++unit) bytes /= 1024;
  return `${bytes.toFixed(unit === 0 ? 0 : 1)} ${units[unit]}`;
}
function rate(bytesPerSecond) {
  return bytesPerSecond === 0 ? '-' : `${size(bytesPerSecond)}/s`;
}
function duration(ms) {
  if (ms < 1000) return `${ms} ms`;
  if (ms < 60000) return `${(ms / 1000).toFixed(1)} s`;
  if (ms < 3600000) return `${Math.floor(ms / 60000)} min ${Math.floor(ms / 1000) % 60} s`;
  return `${Math.floor(ms / 3600000)} h ${Math.floor(ms / 60000) % 60} min`;
}
function waited(ms) {
  return ms === 0 ? '-' : duration(ms);
}
// Times of the log have no zone; here they count as UTC.
function parseTime(text) {
  return Date.parse(`${text.replace(' ', 'T')}Z`);
}
function timeText(time) {
  return new Date(time).toISOString().slice(0, 23).replace('T', ' ');
}

// -- Documents --------------------------------------------------------------------------------------------------------

// How a document looks: printed, late, kept back, unknown or failed. An attempt that another one follows is a delay.
const looks = {printed: 'p', late: 'l', refused: 'k', dropped: 'k', 'under-way': 'u', unknown: 'u'};

const documents = report.list.map(entry => ({
  ...entry,
  from: parseTime(entry.start),
  to: parseTime(entry.start) + entry.total_ms,
  look: entry.last_attempt ? looks[entry.outcome] || 'f' : 'l',
  state: (entry.last_attempt && entry.attempt === 1 ? '' : `attempt ${entry.attempt}: `) +
      report.outcome_texts[entry.outcome],
}));

function titleOf(entry) {
  const job = entry.job === null ? '' : `job ${entry.job}, `;
  const message = entry.message ? `: ${entry.message}` : '';
  const held = entry.held_ms ? `, held ${duration(entry.held_ms)}` : '';
  return `${entry.start}, ${job}${entry.state}${message}${held}`;
}

// -- Tables -----------------------------------------------------------------------------------------------------------

function compare(a, b) {
  return typeof a === 'number' && typeof b === 'number' ? a - b : compare.texts.compare(String(a), String(b));
}
compare.texts = new Intl.Collator(undefined, {numeric: true});

// A click on a header sorts its table by that column, another one turns the order around.
function sort(header) {
  const table = header.closest('table');
  const body = table.tBodies[0];
  const sign = header.getAttribute('aria-sort') === 'ascending' ? -1 : 1;
  const rows = Array.from(body.rows, row => {
    const cell = row.cells[header.cellIndex];
    return {row, value: cell.dataset.v === undefined ? cell.textContent : Number(cell.dataset.v)};
  });
  rows.sort((a, b) => sign * compare(a.value, b.value));
  table.querySelectorAll('th[aria-sort]').forEach(other => other.removeAttribute('aria-sort'));
  header.setAttribute('aria-sort', sign === 1 ? 'ascending' : 'descending');
  body.append(...rows.map(entry => entry.row));
}

// Columns are names; one that begins with "#" holds numbers.
function table(id, heading, caption, columns, rows) {
  const headers = columns.map(column => {
    const button = html('button', {type: 'button'}, column.replace('#', ''));
    const header = html('th', {scope: 'col', ...(column[0] === '#' ? {class: 'n'} : {})}, button);
    button.addEventListener('click', () => sort(header));
    return header;
  });
  return scrolling({'aria-labelledby': heading},
      html('table', {id}, html('caption', {}, caption), html('thead', {}, html('tr', {}, ...headers)),
          html('tbody', {}, ...rows)));
}
// A cell that sorts by its number.
function number(value, text) {
  return html('td', {class: 'n', 'data-v': value}, text);
}
function rowHeader(...children) {
  return html('th', {scope: 'row'}, ...children);
}

function documentRow(entry) {
  const figure = (value, text) => number(value, entry.detailed ? text : '?');
  return html('tr', {},
      html('td', {class: 't'}, entry.start),
      html('td', {}, entry.printer || '?'),
      number(entry.job || 0, entry.job === null ? '?' : entry.job),
      html('td', {}, entry.port || '?', html('br', {}), html('span', {class: 'quiet'}, entry.address || '?')),
      figure(entry.writes, grouped(entry.writes)),
      figure(entry.bytes, size(entry.bytes)),
      figure(entry.start_ms, duration(entry.start_ms)),
      figure(entry.write_ms, duration(entry.write_ms)),
      figure(entry.end_ms, duration(entry.end_ms)),
      number(entry.held_ms, waited(entry.held_ms)),
      html('td', {}, html('span', {class: `badge ${entry.look}`}, entry.state)),
      html('td', {}, entry.message));
}

function printerRow(sums) {
  return html('tr', {}, rowHeader(sums.printer),
      ...[sums.documents, sums.outcomes.printed, sums.outcomes.late, sums.failed].map(n => number(n, grouped(n))),
      number(sums.bytes, size(sums.bytes)),
      number(sums.connect_ms.median, waited(sums.connect_ms.median)),
      number(sums.connect_ms.p95, waited(sums.connect_ms.p95)),
      number(sums.bytes_per_second.median, rate(sums.bytes_per_second.median)),
      number(sums.bytes_per_second.p95, rate(sums.bytes_per_second.p95)),
      number(sums.held_ms, waited(sums.held_ms)),
      number(sums.close_ms, waited(sums.close_ms)));
}

// The causes of the report, the most frequent ones first.
const causes = Object.keys(report.cause_texts);

function causeRow(id) {
  const {text, remedy} = report.cause_texts[id];
  return html('tr', {'data-cause': id}, rowHeader(text, html('br', {}), html('code', {}, id)),
      number(report.causes[id], grouped(report.causes[id])), html('td', {}, remedy));
}

// -- Charts -----------------------------------------------------------------------------------------------------------

const width = 1240;
const nameWidth = 205;  // printers' names in front
const mostLanes = 30;

function line(x1, y1, x2, y2) {
  return svg('line', {class: 'grid', x1, y1, x2, y2});
}
function label(x, y, text, attributes = {}) {
  return svg('text', {x, y, ...attributes}, text);
}
// A name that fits in front of its lane; the whole of it is in the table.
function laneName(y, name) {
  const characters = Array.from(name);
  const short = characters.length > 24 ? `${characters.slice(0, 24).join('')}\u2026` : name;
  return label(nameWidth - 10, y, short, {class: 'name', 'text-anchor': 'end'});
}
function bar(look, x, y, w, h, title) {
  const attributes = {class: look, x: x.toFixed(1), y: y.toFixed(1), width: w.toFixed(1), height: h.toFixed(1)};
  return svg('rect', attributes, ...(title ? [svg('title', {}, title)] : []));
}
function chart(id, height, title, description, shapes) {
  return scrolling({'aria-label': title},
      svg('svg', {id, viewBox: `0 0 ${width} ${height}`, role: 'img', 'aria-labelledby': `${id}-title ${id}-desc`},
          svg('title', {id: `${id}-title`}, title), svg('desc', {id: `${id}-desc`}, description), ...shapes));
}
function legend(entries) {
  return html('ul', {class: 'legend'},
      ...entries.map(([look, text]) => html('li', {}, html('span', {class: look}), text)));
}

const second = 1000;
const minute = 60 * second;
const hour = 60 * minute;
const day = 24 * hour;
const timeSteps = [100, 200, 500, second, 2 * second, 5 * second, 10 * second, 15 * second, 30 * second, minute,
  2 * minute, 5 * minute, 10 * minute, 15 * minute, 30 * minute, hour, 2 * hour, 3 * hour, 6 * hour, 12 * hour, day,
  2 * day, 7 * day, 14 * day, 28 * day, 91 * day, 365 * day, 3650 * day];

// The smallest step of which no more than so many cover the time.
function stepFor(from, to, most) {
  return timeSteps.find(step => (to - from) / step < most) || Math.ceil((to - from) / most);
}
function floorTo(time, step) {
  return Math.floor(time / step) * step;
}
function tickText(time, step) {
  const text = timeText(time);
  if (step >= day) return text.slice(0, 10);
  if (step >= minute) return time % day === 0 ? text.slice(5, 10) : text.slice(11, 16);
  return step >= second ? text.slice(11, 19) : text.slice(14, 21);
}
function timeAxis(from, to, left) {
  const right = width - 30;
  return {from, to, left, right, place: time => left + (right - left) * (time - from) / Math.max(to - from, 1)};
}
function timeTicks(axis, top, bottom) {
  const shapes = [];
  const step = stepFor(axis.from, axis.to, 11);
  for (let time = floorTo(axis.from + step - 1, step); time <= axis.to; time += step) {
    const x = axis.place(time);
    shapes.push(line(x, top, x, bottom), label(x, bottom + 16, tickText(time, step), {'text-anchor': 'middle'}));
  }
  return shapes;
}
function lastEnd() {
  return documents.reduce((end, entry) => Math.max(end, entry.to), documents[0].from);
}

// Causes over time, as columns; the last colour is that of all further causes.
function failuresOverTime() {
  const mostColours = 8;
  const failed = documents.filter(entry => entry.cause !== null);
  const counts = new Map();
  for (const entry of failed) counts.set(entry.cause, (counts.get(entry.cause) || 0) + 1);
  const ranked = Array.from(counts.keys()).sort((a, b) => counts.get(b) - counts.get(a));
  const rankOf = cause => Math.min(ranked.indexOf(cause), mostColours - 1);

  const end = lastEnd();
  const step = stepFor(documents[0].from, end, 60);
  const axis = timeAxis(floorTo(documents[0].from, step), floorTo(end, step) + step, 46);
  const columns = new Map();
  for (const entry of failed) {
    const begin = floorTo(entry.from, step);
    if (!columns.has(begin)) columns.set(begin, new Array(mostColours).fill(0));
    ++columns.get(begin)[rankOf(entry.cause)];
  }
  const highest = Math.max(...Array.from(columns.values(), column => column.reduce((a, b) => a + b)));

  const top = 14;
  const bottom = 220;
  const heightOf = count => (bottom - top) * count / highest;
  const shapes = [];
  for (let count = 0; count <= highest; count += Math.max(Math.floor(highest / 4), 1)) {
    const y = bottom - heightOf(count);
    shapes.push(line(axis.left, y, axis.right, y));
    shapes.push(label(axis.left - 8, y + 4, grouped(count), {'text-anchor': 'end'}));
  }
  shapes.push(...timeTicks(axis, bottom, bottom));
  for (const [begin, column] of columns) {
    const x = axis.place(begin);
    let y = bottom;
    column.forEach((count, rank) => {
      if (count === 0) return;
      y -= heightOf(count);
      shapes.push(bar(`c${rank}`, x, y, Math.max(axis.place(begin + step) - x - 1, 1), heightOf(count),
          `${timeText(begin)}: ${count}`));
    });
  }
  const own = ranked.length <= mostColours ? ranked : ranked.slice(0, mostColours - 1);
  const further = ranked.slice(own.length).reduce((sum, cause) => sum + counts.get(cause), 0);
  const entries = own.map(id => [`c${rankOf(id)}`, `${report.cause_texts[id].text} (${grouped(counts.get(id))})`]);
  if (further) entries.push([`c${mostColours - 1}`, `all further causes (${grouped(further)})`]);
  show('failures',
      chart('failures-chart', 250, 'Failures and delays over time, by cause',
          `${counted(failed.length, 'document')} with a cause between ${timeText(axis.from)} and ` +
          `${timeText(axis.to)}; a column stands for ${duration(step)}. The table of causes has the sums.`, shapes),
      legend(entries));
}

// A printer's documents. Those that printed without trouble and lie too close to be seen apart make one bar; the others
// come on top, each with its message, and failures stand out by their height too.
function lane(entries, axis, top) {
  const least = 2;
  const height = 24;
  const runs = [];
  const others = [];
  for (const entry of entries) {
    const x = axis.place(entry.from);
    if (entry.look === 'p' && entry.cause === null) {
      const end = Math.max(axis.place(entry.to), x + least);
      const run = runs[runs.length - 1];
      if (run && x <= run.end + 0.5) {
        run.end = Math.max(run.end, end);
      } else {
        runs.push({begin: x, end});
      }
      continue;
    }
    const w = Math.max(axis.place(entry.to) - x, least + 1);
    const tall = entry.look === 'f' || entry.look === 'k';
    others.push(bar(entry.look, x, top + (tall ? 3 : 7), w, height - (tall ? 6 : 14), titleOf(entry)));
    const held = axis.place(entry.from + entry.held_ms) - x;
    if (held >= 1) others.push(bar('h', x, top + 10, Math.min(held, w), height - 20, titleOf(entry)));
  }
  return [...runs.map(run => bar('p', run.begin, top + 7, run.end - run.begin, height - 14)), ...others];
}

function timeline() {
  const byPrinter = new Map();
  for (const entry of documents) {
    const name = entry.printer || entry.address || '(not named)';
    if (!byPrinter.has(name)) byPrinter.set(name, []);
    byPrinter.get(name).push(entry);
  }
  const all = Array.from(byPrinter).sort((a, b) => b[1].length - a[1].length);
  const lanes = all.slice(0, mostLanes);
  const axis = timeAxis(documents[0].from, lastEnd(), nameWidth);
  const laneHeight = 26;
  const bottom = 8 + laneHeight * lanes.length;
  const shapes = timeTicks(axis, 4, bottom);
  lanes.forEach(([name, entries], index) => {
    const top = 4 + laneHeight * index;
    shapes.push(line(axis.left, top + laneHeight, axis.right, top + laneHeight), laneName(top + 17, name));
    shapes.push(...lane(entries, axis, top));
  });
  show('timeline',
      chart('timeline-chart', bottom + 26, 'Timeline of each printer',
          `${counted(documents.length, 'document')} on ${counted(lanes.length, 'printer')} from ` +
          `${timeText(axis.from)} to ${timeText(axis.to)}. The table of documents has the same in words.`, shapes),
      legend([['p', 'printed'], ['l', 'printed late'], ['h', 'held meanwhile'], ['f', 'did not come out'],
        ['k', 'refused or dropped'], ['u', 'under way, or end unknown']]));
  if (all.length > lanes.length) {
    const hidden = counted(all.length - lanes.length, 'further printer');
    show('timeline', html('p', {class: 'quiet'}, `${hidden} with fewer documents.`));
  }
}

function speed() {
  const rowHeight = 24;
  const head = 26;
  const room = (width - nameWidth - 200) / 2;
  const middle = nameWidth + room + 130;
  const printers = report.printers.slice(0, mostLanes).map(sums => {
    const waits = [sums.connect_ms.median, Math.floor(sums.held_ms / sums.documents),
      Math.floor(sums.close_ms / sums.documents)];
    return {sums, waits, waiting: waits[0] + Math.floor((sums.held_ms + sums.close_ms) / sums.documents)};
  });
  const fastest = Math.max(1, ...printers.map(({sums}) => sums.bytes_per_second.p95));
  const longest = Math.max(1, ...printers.map(({waiting}) => waiting));
  const shapes = [label(nameWidth, 16, 'Throughput, median'), label(middle, 16, 'Waiting of a document, on average')];
  printers.forEach(({sums, waits, waiting}, index) => {
    const top = head + rowHeight * index;
    const median = sums.bytes_per_second.median;
    const w = room * median / fastest;
    shapes.push(laneName(top + 15, sums.printer));
    if (sums.bytes_per_second.count) shapes.push(bar('p', nameWidth, top + 4, Math.max(w, 1), rowHeight - 10));
    shapes.push(label(nameWidth + w + 6, top + 15, rate(median)));
    let x = middle;
    waits.forEach((ms, part) => {
      const length = room * ms / longest;
      if (length > 0) shapes.push(bar(`c${part + 1}`, x, top + 4, length, rowHeight - 10, duration(ms)));
      x += length;
    });
    shapes.push(label(x + 6, top + 15, duration(waiting)));
  });
  show('speed',
      chart('speed-chart', head + rowHeight * printers.length + 6, 'Throughput and waiting of each printer',
          'Left, the median throughput; right, what a document waited on average: connecting, held by a problem of ' +
          'the device, and for the printer to take the rest and close. The table below has the figures.', shapes),
      legend([['c1', 'connecting (median)'], ['c2', 'held by a problem of the device'],
        ['c3', 'for the printer to take the rest and close']]));
}

// -- The page ---------------------------------------------------------------------------------------------------------

function introduction() {
  const lines = [counted(report.files.length, 'file'), counted(report.lines, 'line'), size(report.log_bytes)].join(', ');
  const add = (text, look = 'quiet') =>
    document.getElementById('introduction').append(html('p', look ? {class: look} : {}, text));
  document.title = `Print report ${report.first.slice(0, 10)}`;
  add(report.first ? `${report.first} to ${report.last} \u00b7 ${lines}` : lines);
  for (const note of report.notes) add(note, '');
  if (report.only) add(`Only ${report.only}.`, '');
}

function tiles() {
  const tile = (id, name, value, text, look = '') =>
    html('div', {class: look}, html('dt', {}, name), html('dd', {id, 'data-v': value}, text));
  const count = (id, name, value, look) => tile(id, name, value, grouped(value), look);
  const {outcomes} = report;
  document.getElementById('sums').replaceWith(html('dl', {class: 'tiles'},
      count('n-documents', 'Documents', report.documents),
      count('n-printed', 'Printed', outcomes.printed),
      count('n-late', 'Printed late', outcomes.late),
      count('n-failed', 'Not printed', report.failed, report.failed ? 'bad' : ''),
      count('n-unknown', 'End unknown', outcomes.unknown),
      ...(outcomes['under-way'] ? [count('n-under-way', 'Under way', outcomes['under-way'])] : []),
      tile('n-bytes', 'Data', report.bytes, size(report.bytes)),
      tile('n-held', 'Held in all', report.held_ms, duration(report.held_ms))));
}

function found() {
  const items = [
    ...report.stands_out.map(({id, printer, message}) => html('li', {'data-finding': id}, html('strong', {}, printer),
        `: ${message} `, html('code', {}, id))),
    ...report.other_errors.map(({text, count, remedy}) => html('li', {'data-count': count},
        `${grouped(count)} \u00d7 another error: ${text}${remedy ? ` \u2013 ${remedy}` : ''}`)),
  ];
  if (items.length) show('found', html('ul', {class: 'found'}, ...items));
}

introduction();
tiles();
found();
show('causes', causes.length === 0 ? html('p', {}, 'Nothing went wrong.') :
    table('causes-table', 'causes-heading', 'What kept documents from the printer, delayed or changed them.',
        ['Cause', '#Documents', 'What to do'], causes.map(causeRow)));
if (documents.some(entry => entry.cause !== null)) failuresOverTime();
if (documents.length) timeline();
if (report.printers.length) speed();
show('speed', table('printers-table', 'speed-heading',
    'Connecting is the time of a start that no helper held. Throughput counts documents of 64 KiB and more, from the ' +
    'first byte to the printer\'s close. Until closed is the time between the last byte handed over and that close.',
    ['Printer', '#Documents', '#Printed', '#Late', '#Failed', '#Data', '#Connecting', '#95 %', '#Throughput', '#95 %',
      '#Held', '#Until closed'], report.printers.map(printerRow)));
if (report.left_out) {
  show('documents', html('p', {class: 'quiet'}, `${counted(report.left_out, 'further document')} stand in the sums ` +
      'only; "tsport report --csv" lists up to 200,000.'));
}
show('documents', table('documents-table', 'documents-heading', 'One line a document. The headers sort the table.',
    ['Started', 'Printer', '#Job', 'Port', '#Writes', '#Data', '#Start', '#Writing', '#End', '#Held', 'Outcome', 'Cause'],
    documents.map(documentRow)));
