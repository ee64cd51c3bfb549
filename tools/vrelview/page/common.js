// What both pages share: how states look, texts of times, the link to the server, the search.

// Shapes that differ without their colours: a disc, an octagon, a triangle, a square.
export const states = {
    'success': {word: 'PASS', name: 'passed', look: 'pass', shape: 'M24 2a22 22 0 1 0 0 44a22 22 0 1 0 0-44zM13 25l8 8 15-17'},
    'failure': {word: 'FAIL', name: 'failed', look: 'fail', shape: 'M15 2h18l13 13v18l-13 13h-18l-13-13v-18zM16 16l16 16m0-16l-16 16'},
    'interrupted': {word: 'INTERRUPTED', name: 'interrupted', look: 'broken', shape: 'M24 3l22 41h-44zM24 18v12m0 6v2'},
    'under way': {word: 'RUNNING', name: 'under way', look: 'running', shape: 'M6 4h36v40h-36zM19 15l14 9-14 9z'},
};
const strange = {word: '?', name: 'unknown', look: 'broken', shape: states.interrupted.shape};

export const stateOf = service => states[service.result] ?? strange;

/** An element; texts become text nodes, so nothing in them is ever markup. */
export function element(name, attributes = {}, ...children) {
    return fill(document.createElement(name), attributes, children);
}

export function drawing(name, attributes = {}, ...children) {
    return fill(document.createElementNS('http://www.w3.org/2000/svg', name), attributes, children);
}

function fill(made, attributes, children) {
    for (const [key, value] of Object.entries(attributes))
        if (value !== null)
            made.setAttribute(key, value);
    made.append(...children.filter(child => child !== null));
    return made;
}

export function icon(state) {
    const split = state.shape.indexOf('M', 1);
    return drawing('svg', {class: 'icon', viewBox: '0 0 48 48', 'aria-hidden': 'true'},
        drawing('path', {class: 'shape', d: state.shape.slice(0, split)}),
        drawing('path', {class: 'mark', d: state.shape.slice(split)}));
}

/** Replaces an element's children only when what they are made of has changed, so that focus and selection stay. */
export function show(place, data, make) {
    const key = JSON.stringify(data);
    if (place.shown !== key) {
        place.shown = key;
        place.replaceChildren(...make(data).filter(child => child !== null));
    }
}

export const boardAddress = serial => `/board/${encodeURIComponent(serial)}`;

let skew = 0; // the server's clock less this one, in milliseconds
export const now = () => Date.now() + skew;

export function duration(milliseconds) {
    const seconds = Math.max(0, milliseconds) / 1000;
    const two = number => String(Math.floor(number)).padStart(2, '0');
    if (seconds < 1)
        return `${Math.round(milliseconds)} ms`;
    if (seconds < 60)
        return `${seconds < 10 ? seconds.toFixed(1) : Math.round(seconds)} s`;
    if (seconds < 3600)
        return `${Math.floor(seconds / 60)}:${two(seconds % 60)} min`;
    return `${Math.floor(seconds / 3600)}:${two(seconds / 60 % 60)} h`;
}

/** The time of a running clock, without tenths. */
export function clock(milliseconds) {
    const seconds = Math.max(0, Math.floor(milliseconds / 1000));
    const two = number => String(number % 60).padStart(2, '0');
    const minutes = Math.floor(seconds / 60);
    return minutes < 60 ? `${minutes}:${two(seconds)}` : `${Math.floor(minutes / 60)}:${two(minutes)}:${two(seconds)}`;
}

export function timeOfDay(time) {
    const date = new Date(time);
    const today = new Date(now()).toDateString() === date.toDateString();
    return date.toLocaleString('en-GB', {hour: '2-digit', minute: '2-digit',
        ...(today ? {} : {day: 'numeric', month: 'short'})});
}

export const percent = part => part === null || part === undefined ? '–' : `${(100 * part).toFixed(1)} %`;

/** "3/5 writetoken": the step that is under way, that failed, or the last one. */
export function progress(service) {
    const steps = service.steps ?? [];
    const done = steps.filter(step => step.result === 'success').length;
    const current = service.result === 'success' ? steps.length : Math.min(done + 1, steps.length);
    return {number: current, of: steps.length, done,
        command: service.result === 'success' ? '' : steps[current - 1]?.command ?? ''};
}

export async function ask(address) {
    const answer = await fetch(address, {cache: 'no-store'});
    const text = await answer.text();
    const date = Date.parse(answer.headers.get('Date'));
    if (Math.abs(date - Date.now()) > 2000)
        skew = date - Date.now();
    if (answer.ok)
        return JSON.parse(text);
    throw Object.assign(new Error(text.trim()), {status: answer.status});
}

const pause = milliseconds => new Promise(done => setTimeout(done, milliseconds));

/** Why the server answers nothing; empty when it does. */
async function fault() {
    try {
        const answer = await fetch('/healthz', {cache: 'no-store'});
        return answer.ok ? '' : `${(await answer.text()).trim()} This page tries again every second.`;
    } catch {
        return 'No connection to vrelview: what is shown may be out of date. This page tries again every second.';
    }
}

/** Calls `update` with the data of each change, once at a time, until the server is gone, says nothing, or refuses. */
function listen(update) {
    const silence = 12000; // the server says something every five seconds
    return new Promise((_, reject) => {
        const source = new EventSource('/api/v1/events');
        let heard = Date.now(), due = null, isBusy = false;
        const watch = setInterval(() => Date.now() - heard > silence && end(), 1000);

        function end(error) {
            source.close();
            clearInterval(watch);
            reject(error);
        }

        async function work(change) {
            heard = Date.now();
            due = change;
            if (isBusy)
                return;
            isBusy = true;
            try {
                while (due !== null) {
                    const latest = due;
                    due = null;
                    await update(latest);
                }
            } catch (error) {
                end(error);
            }
            isBusy = false;
        }

        source.onopen = () => work({});
        source.addEventListener('change', event => work(JSON.parse(event.data)));
        source.addEventListener('alive', () => { heard = Date.now(); });
        source.onerror = end;
    });
}

/** Keeps the page current, also when ledger, server or network were away, and says on the page whether it is. */
export async function follow(refresh) {
    const link = document.getElementById('link');
    const trouble = document.getElementById('trouble');
    let since = null;

    function say(isLive, text) {
        since = isLive ? null : since ?? timeOfDay(now());
        link.className = isLive ? 'live' : 'lost';
        link.textContent = isLive ? 'Live' : `Not live since ${since}`;
        trouble.hidden = text === '';
        trouble.textContent = text;
        document.body.classList.toggle('stale', text !== '');
    }

    for (;;) {
        await listen(async change => {
            await refresh(change);
            say(true, '');
        }).catch(() => {});
        say(false, await fault());
        await pause(1000);
    }
}

/** Lets the search field find boards by a part of their serial number; `/` leads to it from anywhere. */
export function search() {
    const field = document.getElementById('search');
    const found = document.getElementById('found');
    let asked = 0;

    async function find(text) {
        const turn = ++asked;
        const boards = text === '' ? [] : await ask(`/api/v1/search?text=${encodeURIComponent(text)}`).catch(() => []);
        if (turn !== asked)
            return null;
        found.hidden = text === '';
        found.replaceChildren(...boards.map(board => element('li', {}, element('a', {href: boardAddress(board.serial)},
            icon(stateOf(board)), element('b', {}, board.serial),
            element('span', {}, `${stateOf(board).name}, ${board.path ?? 'no place'}, ${timeOfDay(board.began)}`)))));
        if (boards.length === 0)
            found.append(element('li', {class: 'none'}, `No board has “${text}” in its serial number`));
        return boards;
    }

    field.addEventListener('input', () => find(field.value.trim()));
    field.form.addEventListener('submit', async event => {
        event.preventDefault();
        const text = field.value.trim();
        const boards = await find(text);
        const board = boards?.find(one => one.serial === text) ?? (boards?.length === 1 ? boards[0] : null);
        if (board)
            location.assign(boardAddress(board.serial));
    });
    document.addEventListener('keydown', event => {
        const isTyping = event.target.matches('input, select');
        const links = [...found.querySelectorAll('a')];
        const at = links.indexOf(document.activeElement);
        if (event.key === '/' && !isTyping && !event.ctrlKey && !event.metaKey && !event.altKey) {
            event.preventDefault();
            field.select();
        } else if (event.key === 'Escape' && !found.hidden) {
            found.hidden = true;
            field.focus();
        } else if ((event.target === field || at >= 0) && ['ArrowDown', 'ArrowUp'].includes(event.key)) {
            event.preventDefault();
            (links[at + (event.key === 'ArrowDown' ? 1 : -1)] ?? field).focus();
        }
    });
    document.addEventListener('click', event => {
        if (!event.target.closest('search'))
            found.hidden = true;
    });
}
