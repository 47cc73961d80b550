// Files that are not text, each as its kind allows; what nothing here can show stands as facts.

import { html } from 'htm/preact';
import { Facts, sizeWords } from './facts.js';
import { FontSample } from './font.js';
import { Picture } from './picture.js';
import { useBlobAddress } from './blob.js';

/** Larger files are not read into the page at all. */
const kMostBytes = 256 * 1024 * 1024;

/** @type {Record<string, (props: {info: FileInfo, address: string}) => any>} */
const kViews = { image: Picture, audio: Audio, video: Video, pdf: Pdf, font: FontSample };

/** @typedef {import('../../stores/files.js').FileInfo} FileInfo */

/** @param {{info: FileInfo}} props */
export function FilePreview({ info }) {
  const View = kViews[info.kind];
  if (!View) return html`<${Facts} info=${info} />`;
  if (info.size > kMostBytes) {
    return html`<${Facts} info=${info} reason=${`It is too large to be shown here (${sizeWords(info.size)}).`} />`;
  }
  return html`<${Loaded} info=${info} View=${View} />`;
}

/** @param {{info: FileInfo, View: any}} props */
function Loaded({ info, View }) {
  const { address, failure } = useBlobAddress(info.path, info.mime, info.modified);
  if (failure) return html`<${Facts} info=${info} reason=${`Could not read it: ${failure}`} />`;
  if (!address) return html`<p class="pane-note" role="status">Reading ${info.name}…</p>`;
  return html`<${View} info=${info} address=${address} />`;
}

/** @param {{info: FileInfo, address: string}} props */
function Audio({ info, address }) {
  return html`<div class="media-view" aria-label=${info.name}>
    <p>${info.name}</p>
    <audio controls src=${address} aria-label=${info.name}></audio>
  </div>`;
}

/** @param {{info: FileInfo, address: string}} props */
function Video({ info, address }) {
  return html`<div class="media-view"><video controls src=${address} aria-label=${info.name}></video></div>`;
}

/** @param {{info: FileInfo, address: string}} props */
function Pdf({ info, address }) {
  // The blob's type is ours, so the frame can only ever hold a PDF, whatever the file is.
  if (!navigator.pdfViewerEnabled)
    return html`<${Facts} info=${info} reason="PDF files cannot be shown here." />`;
  return html`<iframe class="pdf-view" src=${address} title=${info.name}></iframe>`;
}
