// Plays a movie in headless Chromium and prints what was seen, as JSON.
//
//     node play.mjs MODULES FOLDER movie.mp4       plays the file
//     node play.mjs MODULES FOLDER playlist.m3u8   plays the HLS package with hls.js, collects the cues
//
// MODULES is the folder of node_modules with playwright-core and hls.js.
import fs from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import {requireFrom, withChromium} from './chromium.mjs';

const [modules, folder, name] = process.argv.slice(2);
const hlsScript = fs.readFileSync(requireFrom(modules).resolve('hls.js/dist/hls.min.js'));

const page_text = `<!doctype html><video id="video" muted></video><script src="/hls.js"></script>`;
const types = {'.mp4': 'video/mp4', '.m3u8': 'application/vnd.apple.mpegurl', '.ts': 'video/mp2t',
               '.m4s': 'video/iso.segment'};

const server = http.createServer((request, response) => {
  const asked = decodeURIComponent(new URL(request.url, 'http://x').pathname).slice(1);
  if (asked === '') return response.setHeader('Content-Type', 'text/html').end(page_text);
  if (asked === 'hls.js') {
    return response.setHeader('Content-Type', 'text/javascript').end(hlsScript);
  }
  const file = path.join(folder, path.basename(asked));
  if (!fs.existsSync(file)) return response.writeHead(404).end();
  const bytes = fs.readFileSync(file);
  response.setHeader('Content-Type', types[path.extname(file)] ?? 'application/octet-stream');
  response.setHeader('Accept-Ranges', 'bytes');
  const range = /^bytes=(\d+)-(\d*)$/.exec(request.headers.range ?? '');
  if (!range) return response.end(bytes);
  const first = Number(range[1]);
  const last = range[2] === '' ? bytes.length - 1 : Math.min(Number(range[2]), bytes.length - 1);
  response.writeHead(206, {'Content-Range': `bytes ${first}-${last}/${bytes.length}`});
  return response.end(bytes.subarray(first, last + 1));
});

// Runs in the page: plays to the end at four times the normal speed.
async function play({name, isHls}) {
  const video = document.getElementById('video');
  const complaints = [];
  const cues = {};
  video.addEventListener('error', () => complaints.push(video.error.message));
  if (isHls) {
    const hls = new Hls({enableCEA708Captions: true, renderTextTracksNatively: true});
    hls.on(Hls.Events.ERROR, (_, data) => complaints.push(`${data.type} ${data.details}`));
    hls.loadSource('/' + name);
    hls.attachMedia(video);
  } else {
    video.src = '/' + name;
  }
  const heard = event => new Promise(done => video.addEventListener(event, done, {once: true}));
  await Promise.race([heard('loadedmetadata'), heard('error')]);
  video.playbackRate = 4;
  const ended = Promise.race([heard('ended'), heard('error'),
                              new Promise(done => setTimeout(done, 30000))]);
  await video.play().catch(failure => complaints.push(String(failure)));
  await ended;
  for (const track of video.textTracks) {
    track.mode = 'hidden';
    cues[track.label] = [...track.cues ?? []].map(
      cue => ({start: cue.startTime, end: cue.endTime, text: cue.text}));
  }
  const quality = video.getVideoPlaybackQuality();
  return {ended: video.ended, duration: video.duration, time: video.currentTime,
          width: video.videoWidth, height: video.videoHeight,
          pictures: quality.totalVideoFrames, corrupted: quality.corruptedVideoFrames,
          complaints, cues};
}

await new Promise(done => server.listen(0, '127.0.0.1', done));
try {
  await withChromium(modules, async browser => {
    const page = await browser.newPage();
    await page.goto(`http://127.0.0.1:${server.address().port}/`);
    const seen = await page.evaluate(play, {name, isHls: name.endsWith('.m3u8')});
    console.log(JSON.stringify(seen));
  });
} finally {
  server.close();
  server.closeAllConnections?.();
}
