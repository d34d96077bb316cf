// The course of a page's writing: which ink is on the paper at a moment of a replay. Knows nothing
// of screens.
//
// A replay keeps the pen's own time from stroke to stroke. Pauses longer than `longestPauseMs` are
// cut down to it when they are to be skipped: a page is often written over days. Strokes without a
// time follow one another as a hand would write them. Times of a replay are ms from its start.

/** @typedef {import('./api.js').Stroke} Stroke */
/** @typedef {{at: number, skipped: number}} Pause a pause that was cut: when in the replay, and how much of it is left out */

export const longestPauseMs = 1000;
const assumedPauseMs = 250;

/** @param {Stroke} stroke */
function lengthMs(stroke) {
  const last = stroke.line.length - 1;
  return last < 0 ? 0 : Math.max(0, stroke.line[last][0]);
}

/**
 * In the order of writing; strokes without a time stay behind the one that they follow.
 * @param {Stroke[]} strokes
 */
function inOrder(strokes) {
  let time = 0;
  const timed = strokes.map((stroke, index) => ({ stroke, index, time: (time = stroke.start || time) }));
  timed.sort((a, b) => a.time - b.time || a.index - b.index);
  return timed.map((entry) => entry.stroke);
}

export class Writing {
  /** @param {Stroke[]} strokes @param {boolean} [skipsPauses] */
  constructor(strokes, skipsPauses = true) {
    this.strokes = inOrder(strokes);
    /** @type {Pause[]} */
    this.pauses = [];
    /** @type {number[]} */
    this.starts = [];
    /** @type {number[]} */
    this.ends = [];
    this.duration = 0;
    /** When the last timed stroke ended by the pen's clock. */
    let penTime = 0;
    for (const stroke of this.strokes) {
      this.duration += this.#pauseBefore(stroke, penTime, skipsPauses);
      this.starts.push(this.duration);
      this.duration += lengthMs(stroke);
      this.ends.push(this.duration);
      if (stroke.start) penTime = stroke.start + lengthMs(stroke);
    }
  }

  /** @param {Stroke} stroke @param {number} penTime @param {boolean} skipsPauses */
  #pauseBefore(stroke, penTime, skipsPauses) {
    if (!this.ends.length) return 0;
    if (!stroke.start || !penTime) return assumedPauseMs;
    const pause = Math.max(0, stroke.start - penTime);
    if (!skipsPauses || pause <= longestPauseMs) return pause;
    this.pauses.push({ at: this.duration, skipped: pause - longestPauseMs });
    return longestPauseMs;
  }

  /**
   * What is on the paper at a moment: the first `whole` strokes, and of the next one its first
   * `points` points (0 when the pen is up).
   * @param {number} ms @returns {{whole: number, points: number}}
   */
  at(ms) {
    const whole = countUpTo(this.ends, ms);
    if (whole === this.strokes.length || this.starts[whole] > ms) return { whole, points: 0 };
    const { line } = this.strokes[whole];
    const since = ms - this.starts[whole];
    return { whole, points: countUpTo(line, since, (point) => point[0]) };
  }

  /**
   * How much ink is written in each of `count` equal parts of the replay, in micrometres of way.
   * @param {number} count @returns {Float64Array}
   */
  amounts(count) {
    const amounts = new Float64Array(count);
    const scale = count / Math.max(1, this.duration);
    this.strokes.forEach((stroke, index) => {
      let [, x, y] = stroke.line[0] ?? [0, 0, 0, 0];
      for (const [t, nextX, nextY] of stroke.line) {
        const part = Math.min(count - 1, Math.floor((this.starts[index] + t) * scale));
        amounts[part] += Math.hypot(nextX - x, nextY - y);
        x = nextX;
        y = nextY;
      }
    });
    return amounts;
  }

  /**
   * What a replay leaves out between two of its moments.
   * @param {number} from @param {number} to
   */
  skippedBetween(from, to) {
    return this.pauses.filter((pause) => pause.at > from && pause.at <= to)
      .reduce((sum, pause) => sum + pause.skipped, 0);
  }
}

/**
 * How many entries of an ascending list are not above `limit`.
 * @template T
 * @param {T[]} list @param {number} limit @param {(entry: T) => number} [of]
 */
function countUpTo(list, limit, of = Number) {
  let low = 0;
  let high = list.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (of(list[middle]) <= limit) low = middle + 1;
    else high = middle;
  }
  return low;
}
