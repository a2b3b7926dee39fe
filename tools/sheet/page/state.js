// The document, and the user's choices.

const data = readDocument(JSON.parse($('data').textContent));
data.measures = measuresOf(data);
const pictures = new Pictures($('pictures').textContent.trim());
const state = {task: null, entry: null, home: null, only: new Set(), seen: [], tab: 'parameters', lanes: new Set(), added: [],
  drawn: [], lookLane: null, byTime: false, logarithmic: false, caption: data.against === null ? 'plot0' : 'psnr', sort: {key: 'frame', down: false},
  box: 4 / 3, ready: false};
