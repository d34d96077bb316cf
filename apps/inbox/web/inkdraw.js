// Strokes on a canvas whose unit is the micrometre. A finished stroke is filled by its outline, as
// it is on pictures and in print; one that is being written is a line as wide as the pen drew it.

import { isNight } from './theme.js';

/** @typedef {import('./api.js').Stroke} Stroke */
/** @typedef {import('./api.js').InkPoint} InkPoint */

/** @type {WeakMap<Stroke, Path2D>} */
const paths = new WeakMap();

/** @param {Stroke} stroke */
function outlineOf(stroke) {
  let path = paths.get(stroke);
  if (!path) paths.set(stroke, path = new Path2D(stroke.d));
  return path;
}

/** @type {Map<string, string>} */
const nightColors = new Map();

/**
 * The colour on dark paper: as far from black as it was from white, the hue kept. The same as the
 * style sheet does to pictures.
 * @param {string} color #rrggbb
 */
export function nightColor(color) {
  let made = nightColors.get(color);
  if (!made) {
    const parts = [1, 3, 5].map((place) => parseInt(color.slice(place, place + 2), 16) || 0);
    const shift = 255 - Math.max(...parts) - Math.min(...parts);
    made = `rgb(${parts.map((part) => part + shift).join(' ')})`;
    nightColors.set(color, made);
  }
  return made;
}

/** @param {string} color */
function colorNow(color) {
  return isNight() ? nightColor(color) : color;
}

/** @param {CanvasRenderingContext2D} context @param {Stroke} stroke */
export function drawStroke(context, stroke) {
  context.globalAlpha = stroke.opacity;
  // What darkens by day lightens by night.
  if (stroke.darkens) context.globalCompositeOperation = isNight() ? 'screen' : 'multiply';
  context.fillStyle = colorNow(stroke.color);
  context.fill(outlineOf(stroke), 'nonzero');
  context.globalCompositeOperation = 'source-over';
  context.globalAlpha = 1;
}

/**
 * The first points of a stroke that is being written.
 * @param {CanvasRenderingContext2D} context @param {Stroke} stroke @param {number} points
 */
export function drawBeginning(context, stroke, points) {
  drawLine(context, stroke.line.slice(0, points), stroke.color, stroke.opacity);
}

/**
 * @param {CanvasRenderingContext2D} context @param {InkPoint[]} line @param {string} color @param {number} opacity
 */
export function drawLine(context, line, color, opacity = 1) {
  if (!line.length) return;
  context.strokeStyle = colorNow(color);
  context.lineCap = 'round';
  context.lineJoin = 'round';
  context.globalAlpha = opacity;
  if (opacity < 1) drawEvenly(context, line);
  else drawWidths(context, line);
  context.globalAlpha = 1;
}

// Each piece in its own width, curved from one middle between two points to the next, so that a
// quick hand's few points leave no corners.
/** @param {CanvasRenderingContext2D} context @param {InkPoint[]} line */
function drawWidths(context, line) {
  let [, x, y] = line[0];
  let middleX = x;
  let middleY = y;
  line.forEach(([, nextX, nextY, width], index) => {
    const isLast = index === line.length - 1;
    const endX = isLast ? nextX : (x + nextX) / 2;
    const endY = isLast ? nextY : (y + nextY) / 2;
    context.beginPath();
    context.lineWidth = width;
    context.moveTo(middleX, middleY);
    context.quadraticCurveTo(x, y, endX, endY);
    context.stroke();
    [middleX, middleY, x, y] = [endX, endY, nextX, nextY];
  });
}

// Pieces of translucent ink would show where they overlap.
/** @param {CanvasRenderingContext2D} context @param {InkPoint[]} line */
function drawEvenly(context, line) {
  context.beginPath();
  context.lineWidth = Math.max(...line.map((point) => point[3]));
  context.moveTo(line[0][1], line[0][2]);
  for (const [, x, y] of line) context.lineTo(x, y);
  context.stroke();
}
