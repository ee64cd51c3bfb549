// A board's page: each time that it was served, the latest first.
import {ask, clock, duration, element, follow, icon, now, progress, search, show, stateOf, timeOfDay}
    from '/common.js';

const kShown = 20;  // services at first; a board has more only in a laboratory
const kTail = 65536; // bytes of a log
const serial = decodeURIComponent(location.pathname.slice('/board/'.length));
const list = document.getElementById('services');
const cards = new Map(); // by service
let isAllShown = false;

const levels = {1: 'error', 2: 'warning'};

function logLine(text) {
    let line = null;
    try {
        line = JSON.parse(text);
    } catch {
        return element('li', {}, text);
    }
    const level = levels[line.level];
    const time = typeof line.time === 'string' ? line.time.slice(11, 23) : '';
    return element('li', {class: level ?? null}, element('time', {}, time), time && ' ', level ? `${level}: ` : '',
        String(line.text ?? text));
}

function table(head, rows, name) {
    const row = (type, words) => element('tr', {}, ...words.map(word => element(type, {}, word)));
    return element('table', {class: name}, element('thead', {}, row('th', head)),
        element('tbody', {}, ...rows.map(words => row('td', words))));
}

function stepRow(step, index, service) {
    const wasRun = step.result !== 'not run';
    const isNow = service.result === 'under way' && index === progress(service).done;
    const longest = Math.max(...service.steps.map(one => one.duration), 1);
    const bar = element('span', {class: 'share'});
    bar.style.width = `${100 * step.duration / longest}%`;
    const result = wasRun ? element('span', {class: 'result'}, icon(stateOf(step)), ` ${stateOf(step).name}`,
        step.error === null || step.error === service.error ? null : element('small', {}, step.error)) : isNow ? 'under way' : 'not run';
    return [String(index + 1), step.command, result, wasRun ? element('span', {}, duration(step.duration), bar) : ''];
}

function makeFacts(service) {
    const facts = {Place: service.path ?? 'not known', Station: service.station, Job: service.job,
        Began: new Date(service.began).toLocaleString('en-GB'), Route: service.route,
        Versions: `tool ${service.tool}, library ${service.library}`, Service: service.service};
    return Object.entries(facts).map(([name, value]) => element('div', {}, element('dt', {}, name), element('dd', {}, value)));
}

async function showLog(place, service) {
    const address = `/log/${encodeURIComponent(service.service)}`;
    const answer = await fetch(`${address}?tail=${kTail}`, {cache: 'no-store'});
    const text = await answer.text();
    const lines = answer.ok ? text.split('\n').filter(line => line !== '') : [];
    if (text.length >= kTail)
        lines.shift(); // most likely half of one
    show(place, [answer.ok, text], () => answer.ok
        ? [element('p', {}, element('a', {href: address}, 'The whole log'), text.length >= kTail ? ' – its last lines:' : ''),
            element('ol', {class: 'log'}, ...lines.map(logLine))]
        : [element('p', {class: 'none'}, text)]);
}

function makeCard(service) {
    const part = {head: element('h2'), facts: element('dl', {class: 'facts-list'}), error: element('p', {class: 'error'}),
        steps: element('div', {class: 'wide'}), inputs: element('div', {class: 'wide'}), log: element('div')};
    const log = service.log === null ? null : element('details', {}, element('summary', {}, 'Log'), part.log);
    log?.addEventListener('toggle', () => log.open && showLog(part.log, cards.get(service.service).service));
    return {card: element('section', {class: 'service'}, part.head, part.error, part.facts, part.steps, part.inputs, log), part, log};
}

function showCard(service) {
    const card = cards.get(service.service) ?? makeCard(service);
    cards.set(service.service, card);
    card.service = service;
    const state = stateOf(service);
    card.card.className = `service ${state.look}`;
    show(card.part.head, [service.result, service.ended, progress(service)], () => {
        const {number, of, command} = progress(service);
        return [element('span', {class: 'badge'}, icon(state), ` ${state.word}`),
            element('span', {}, `${number}/${of} ${command}`.trim()), card.clock = element('span', {class: 'clock'})];
    });
    showClock(card);
    show(card.part.error, service.error, () => service.error === null ? [] : [service.error]);
    show(card.part.facts, service, makeFacts);
    show(card.part.steps, [service.steps, service.result], () => [table(['Step', 'Command', 'Result', 'Time'],
        service.steps.map((step, index) => stepRow(step, index, service)), 'steps')]);
    show(card.part.inputs, service.inputs, inputs => inputs.length === 0 ? [] : [table(['Input', 'Bytes', 'SHA-256'],
        inputs.map(input => [input.name, String(input.size), element('code', {}, input.sha256)]), 'inputs')]);
    if (card.log?.open)
        showLog(card.part.log, service);
    return card;
}

function showClock({service, clock: place}) {
    place.textContent = service.result === 'under way' ? clock(now() - Date.parse(service.began))
        : `${service.duration === null ? '' : `${duration(service.duration)} · `}${timeOfDay(service.ended ?? service.began)}`;
}

async function refresh() {
    const services = (await ask(`/api/v1/services?serial=${encodeURIComponent(serial)}`)).reverse();
    const shown = isAllShown ? services : services.slice(0, kShown);
    const made = shown.map(showCard);
    const rest = services.length - shown.length;
    show(list, [shown.map(service => service.service), rest], () => [
        services.length === 0 ? element('p', {class: 'none'}, 'The ledger has no board with this serial number.') : null,
        ...made.map(({card}) => card), rest > 0 ? makeMore(rest) : null]);
}

function makeMore(rest) {
    const more = element('button', {type: 'button'}, `Show ${rest} earlier services`);
    more.addEventListener('click', () => {
        isAllShown = true;
        refresh();
    });
    return more;
}

document.getElementById('serial').textContent = serial;
document.title = `${serial} – ${document.title.replace(/^Board – /, '')}`;
setInterval(() => cards.forEach(card => card.service.result === 'under way' && showClock(card)), 1000);
search();
follow(refresh);
