// The line's page: places as tiles, totals and charts of one job.
import {ask, boardAddress, clock, drawing, duration, element, follow, icon, now, percent, progress, search, show, stateOf,
    states, timeOfDay} from '/common.js';

const byNumbers = new Intl.Collator('en', {numeric: true});
const places = document.getElementById('places');
const chooser = document.getElementById('job');
const title = document.title;

/** The tiles of a station by path; one stays for as long as the page does, since a person connects it with a socket. */
const stations = new Map();

function makeTile() {
    const part = (name, type = 'span') => element(type, {class: name});
    const parts = {icon: part('symbol'), place: part('place'), clock: part('clock'), word: part('word', 'strong'),
        bar: part('bar'), serial: part('serial', 'b'), facts: part('facts'), line: part('line')};
    const link = element('a', {}, element('span', {class: 'head'}, element('span', {}, parts.place, parts.clock),
        element('span', {class: 'state'}, parts.icon, parts.word), parts.bar),
        element('span', {class: 'body'}, parts.serial, parts.facts, parts.line));
    return {item: element('li', {}, link), link, parts};
}

const setText = (node, text) => { if (node.textContent !== text) node.textContent = text; };

function showTile(tile, service) {
    const state = stateOf(service);
    const {number, of, done, command} = progress(service);
    const isRunning = service.result === 'under way';
    const {link, parts} = tile;
    tile.service = service;
    link.className = `tile ${state.look}`;
    link.href = boardAddress(service.serial);
    show(parts.icon, service.result, () => [icon(state)]);
    setText(parts.place, service.path ?? 'no place');
    setText(parts.word, isRunning && of > 1 ? `${number}/${of}` : state.word);
    parts.word.classList.toggle('long', parts.word.textContent.length > 5);
    show(parts.bar, [done, of, service.result], () => Array.from({length: Math.min(of, 24)}, (_, index) => {
        const step = Math.floor(index * of / Math.min(of, 24));
        return element('i', {class: step < done ? 'done' : step === done && service.result !== 'success' ? 'now' : ''});
    }));
    setText(parts.serial, service.serial);
    setText(parts.facts, `${number}/${of} ${command || 'steps'}`);
    setText(parts.line, service.error ?? (service.line === service.result ? '' : service.line ?? '')); // PASS is said already
    showClock(tile);
}

function showClock({service, parts}) {
    if (service.result === 'under way') {
        setText(parts.clock, `running ${clock(now() - Date.parse(service.began))}`);
        return;
    }
    const day = timeOfDay(service.ended ?? service.began);
    setText(parts.clock, service.duration === null || day.includes(',') ? day : `${duration(service.duration)} · ${day}`);
}

function showPlaces(services) {
    let isNew = false;
    for (const service of services) {
        const station = stations.get(service.station) ?? new Map();
        stations.set(service.station, station);
        if (!station.has(service.path)) {
            station.set(service.path, makeTile());
            isNew = true;
        }
        showTile(station.get(service.path), service);
    }
    if (isNew)
        arrange();
    show(document.getElementById('none'), stations.size, () =>
        stations.size > 0 ? [] : ['No board has been served yet. Each place gets a tile with its first board.']);
}

/** Stations and places in the order of their numbers: 1-1.2 before 1-1.10. */
function arrange() {
    const sorted = map => [...map].sort(([one], [other]) => byNumbers.compare(one ?? '', other ?? ''));
    places.replaceChildren(element('p', {id: 'none'}), ...sorted(stations).map(([name, tiles]) =>
        element('section', {'aria-label': `Station ${name}`}, stations.size > 1 ? element('h2', {}, name) : null,
            element('ul', {class: 'tiles'}, ...sorted(tiles).map(([, tile]) => tile.item)))));
}

function total(state, value, name, note = null) {
    return element('div', {class: state ? `total ${state.look}` : 'total'}, element('dt', {}, state ? icon(state) : null, name),
        element('dd', {}, value, note === null ? null : element('small', {}, note)));
}

function makeTotals(job) {
    if (!job)
        return [];
    return [total(states.success, String(job.success), 'passed'), total(states.failure, String(job.failure), 'failed'),
        total(states.interrupted, String(job.interrupted), 'interrupted'),
        total(states['under way'], String(job.underWay), 'under way'),
        total(null, percent(job.firstPassYield), 'first-pass yield'), total(null, percent(job.yield), 'yield'),
        total(null, job.perHour === null ? '–' : String(job.perHour < 100 ? Math.round(job.perHour * 10) / 10 : Math.round(job.perHour)), 'passed per hour')];
}

const kHour = 3600000;
const kBars = 24;

/** Bars of the last hours, failed boards on top of passed ones; places in percent, so that it fits any width. */
function makeHours(hours) {
    if (hours.length === 0)
        return [element('p', {class: 'none'}, 'No board is done yet.')];
    const end = Date.parse(hours[hours.length - 1].hour);
    const first = Math.max(Date.parse(hours[0].hour), end - (kBars - 1) * kHour);
    const count = Math.max(12, Math.round((end - first) / kHour) + 1);
    const byTime = new Map(hours.map(hour => [Date.parse(hour.hour), hour]));
    const shown = Array.from({length: count}, (_, index) => {
        const time = end - (count - 1 - index) * kHour;
        return {time, ...(byTime.get(time) ?? {success: 0, failure: 0})};
    });
    const height = 150, top = 22, most = Math.max(...shown.map(hour => hour.success + hour.failure), 1);
    const bars = shown.map((hour, index) => {
        const size = number => number * height / most;
        const x = `${(index + 0.12) * 100 / count}%`, width = `${76 / count}%`, middle = `${(index + 0.5) * 100 / count}%`;
        const pass = size(hour.success), fail = size(hour.failure), all = hour.success + hour.failure;
        const label = new Date(hour.time).toLocaleTimeString('en-GB', {hour: '2-digit', minute: '2-digit'});
        const every = (count - 1 - index) % 2 === 0 ? '' : 'minor';
        return drawing('g', {class: every}, drawing('title', {}, `${timeOfDay(hour.time)}: ${hour.success} passed, ${hour.failure} failed`),
            drawing('rect', {class: 'pass', x, width, y: top + height - pass, height: pass}),
            drawing('rect', {class: 'fail', x, width, y: top + height - pass - fail, height: fail}),
            all === 0 ? null : drawing('text', {class: 'count', x: middle, y: top + height - pass - fail - 6}, String(all)),
            drawing('text', {class: 'hour', x: middle, y: top + height + 18}, label));
    });
    const sum = key => shown.reduce((all, hour) => all + hour[key], 0);
    return [drawing('svg', {class: 'chart', role: 'img', height: top + height + 26, width: '100%',
        'aria-label': `In the last ${count} hours ${sum('success')} boards passed and ${sum('failure')} failed`},
    drawing('defs', {}, drawing('pattern', {id: 'hatch', width: 6, height: 6, patternUnits: 'userSpaceOnUse', patternTransform: 'rotate(45)'},
        drawing('rect', {class: 'hatch-ground', width: 6, height: 6}), drawing('rect', {class: 'hatch-line', width: 2, height: 6}))),
    drawing('line', {class: 'axis', x1: 0, x2: '100%', y1: top + height + 0.5, y2: top + height + 0.5}), ...bars),
    element('p', {class: 'legend'}, icon(states.success), 'passed', icon(states.failure), 'failed, by the hour of the board’s end')];
}

function makeCauses(errors) {
    const most = Math.max(...errors.map(error => error.boards));
    const rows = errors.slice(0, 6).map(error => element('li', {},
        element('b', {}, String(error.boards)), element('span', {class: 'cause', title: error.text},
            error.command || error.step ? element('small', {}, `${error.step ? `step ${error.step} ` : ''}${error.command ?? ''}`) : null, error.text),
        drawing('svg', {class: 'share', width: '100%', height: 8, 'aria-hidden': 'true'},
            drawing('rect', {width: `${100 * error.boards / most}%`, height: 8, rx: 2}))));
    const rest = errors.slice(6).reduce((all, error) => all + error.boards, 0);
    if (rest > 0)
        rows.push(element('li', {class: 'none'}, `and ${rest} more boards with ${errors.length - 6} other causes`));
    return rows.length > 0 ? rows : [element('li', {class: 'none'}, 'Nothing has failed.')];
}

function makeSteps(steps) {
    if (steps.length === 0)
        return [element('p', {class: 'none'}, 'No step has been run yet.')];
    const cell = (type, ...words) => words.map(word => element(type, {}, word));
    return [element('table', {}, element('thead', {}, element('tr', {}, ...cell('th', 'Step', 'Command', 'Runs', 'Failures', 'Median', 'Longest'))),
        element('tbody', {}, ...steps.map(step => element('tr', {class: step.failures > 0 ? 'fail' : null},
            ...cell('td', String(step.number), step.command, String(step.runs), String(step.failures),
                duration(step.median), duration(step.longest))))))];
}

function showJobs(jobs) {
    const latest = job => job.ended ?? job.began ?? '';
    jobs.sort((one, other) => (other.underWay > 0) - (one.underWay > 0) || latest(other).localeCompare(latest(one)));
    const wanted = new URLSearchParams(location.search).get('job');
    const job = jobs.find(one => one.job === wanted) ?? jobs[0];
    show(chooser, [jobs.map(one => one.job), job?.job], () => jobs.map(one =>
        element('option', {selected: one === job ? '' : null}, one.job)));
    show(document.getElementById('totals'), job ?? null, makeTotals);
    show(document.getElementById('causes'), job?.errors ?? [], makeCauses);
    show(document.getElementById('steps'), job?.steps ?? [], makeSteps);
    document.title = job?.failure > 0 ? `${job.failure} failed – ${title}` : title;
    return job;
}

/** Of the last day on which boards of the job were done; the same address for all who ask in an hour. */
function askHours(job) {
    const latest = Math.floor(Date.parse(job.ended ?? job.began) / kHour) * kHour;
    const since = new Date(latest - (kBars - 1) * kHour).toISOString();
    return ask(`/api/v1/hours?job=${encodeURIComponent(job.job)}&since=${since}`);
}

let known = null; // the ledger's state that totals and charts show

async function refresh(change) {
    showPlaces(await ask('/api/v1/places'));
    if (change.ledger !== undefined && change.ledger === known)
        return;
    const job = showJobs(await ask('/api/v1/summary'));
    show(document.getElementById('hours'), job ? await askHours(job) : [], makeHours);
    known = change.ledger ?? null;
}

chooser.addEventListener('change', () => {
    history.replaceState(null, '', `/?job=${encodeURIComponent(chooser.value)}`);
    known = null;
    refresh({});
});

document.addEventListener('keydown', event => {
    const tiles = [...places.querySelectorAll('.tile')];
    const at = tiles.indexOf(document.activeElement);
    const row = at < 0 ? 0 : tiles.filter(tile => tile.offsetTop === tiles[at].offsetTop).length;
    const step = {ArrowLeft: -1, ArrowRight: 1, ArrowUp: -row, ArrowDown: row}[event.key];
    if (at >= 0 && step !== undefined) {
        event.preventDefault();
        tiles[Math.min(Math.max(at + step, 0), tiles.length - 1)].focus();
    }
});

setInterval(() => {
    if (!document.body.classList.contains('stale'))
        stations.forEach(station => station.forEach(showClock));
}, 1000);
arrange();
search();
follow(refresh);
