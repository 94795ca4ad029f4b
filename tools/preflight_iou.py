#!/usr/bin/env python3
"""Compares the filled area drawn by `kxsvg render --preflight` with a reference
rasteriser (rsvg-convert from Debian's librsvg2-bin) over a sample of corpus
files. Strokes are removed from both sides, so only fills are compared. For
each file the intersection over union of the covered pixels (alpha >= 50%) is
computed; the mean is printed, and every file below --list-below is listed with
the preflight report lines that explain it.

Usage: tools/preflight_iou.py --kxsvg build/apps/kxsvg [--corpus ../shared/corpus]
       [--count 200] [--seed 1] [--width 256] [--list-below 0.9]
rsvg-convert is needed only for this measurement (apt-get install librsvg2-bin).
"""
import argparse
import os
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib


def read_png_alpha(path):
    """Width, height and the alpha bytes of an 8-bit RGBA or RGB PNG (no interlace)."""
    with open(path, 'rb') as f:
        data = f.read()
    if data[:8] != b'\x89PNG\r\n\x1a\n':
        raise ValueError('not a PNG: ' + path)
    pos = 8
    idat = []
    width = height = color = depth = interlace = None
    while pos < len(data):
        length, kind = struct.unpack('>I4s', data[pos:pos + 8])
        chunk = data[pos + 8:pos + 8 + length]
        pos += 12 + length
        if kind == b'IHDR':
            width, height, depth, color, _, _, interlace = struct.unpack('>IIBBBBB', chunk)
        elif kind == b'IDAT':
            idat.append(chunk)
        elif kind == b'IEND':
            break
    if depth != 8 or interlace != 0 or color not in (2, 6):
        raise ValueError('unsupported PNG layout in ' + path)
    bpp = 4 if color == 6 else 3
    raw = zlib.decompress(b''.join(idat))
    stride = width * bpp
    prev = bytearray(stride)
    alpha = bytearray(width * height)
    pos = 0
    for y in range(height):
        ftype = raw[pos]
        row = bytearray(raw[pos + 1:pos + 1 + stride])
        pos += 1 + stride
        if ftype == 1:
            for i in range(bpp, stride):
                row[i] = (row[i] + row[i - bpp]) & 255
        elif ftype == 2:
            for i in range(stride):
                row[i] = (row[i] + prev[i]) & 255
        elif ftype == 3:
            for i in range(stride):
                left = row[i - bpp] if i >= bpp else 0
                row[i] = (row[i] + ((left + prev[i]) >> 1)) & 255
        elif ftype == 4:
            for i in range(stride):
                a = row[i - bpp] if i >= bpp else 0
                b = prev[i]
                c = prev[i - bpp] if i >= bpp else 0
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                pred = a if pa <= pb and pa <= pc else (b if pb <= pc else c)
                row[i] = (row[i] + pred) & 255
        if bpp == 4:
            alpha[y * width:(y + 1) * width] = row[3::4]
        else:
            alpha[y * width:(y + 1) * width] = b'\xff' * width
        prev = row
    return width, height, alpha


def iou(a, b):
    """Intersection over union of the covered pixels, and whether both are empty."""
    wa, ha, pa = a
    wb, hb, pb = b
    inter = union = 0
    for y in range(max(ha, hb)):
        for x in range(max(wa, wb)):
            ca = y < ha and x < wa and pa[y * wa + x] >= 128
            cb = y < hb and x < wb and pb[y * wb + x] >= 128
            if ca or cb:
                union += 1
                if ca and cb:
                    inter += 1
    return (1.0, True) if union == 0 else (inter / union, False)


ROOT_RE = re.compile(r'<svg\b[^>]*>', re.S)
VIEWBOX_RE = re.compile(r'\bviewBox="([^"]*)"')


def reference_svg(original, viewbox, width, height):
    """The original drawing without strokes, drawn in the same frame as kxsvg's."""
    m = ROOT_RE.search(original)
    if not m:
        return None
    tag = m.group(0)
    body = tag[4:-1].rstrip('/')
    for name in ('width', 'height', 'viewBox', 'preserveAspectRatio'):
        body = re.sub(r'\s%s\s*=\s*("[^"]*"|\'[^\']*\')' % name, '', body)
    self_closing = tag.endswith('/>')
    new_tag = '<svg%s width="%r" height="%r" viewBox="%s" preserveAspectRatio="none">' % (
        body, width, height, viewbox)
    style = '<style>*{stroke:none !important}</style>'
    if self_closing:
        return original[:m.start()] + new_tag + style + '</svg>' + original[m.end():]
    return original[:m.start()] + new_tag + style + original[m.end():]


SIZE_RE = re.compile(r'\s(width|height)\s*=\s*["\']\s*([0-9.eE+-]+)\s*(px|pt|pc|mm|cm|in)?\s*["\']')


def has_absolute_size(original):
    """True when the source's root gives both width and height in absolute units."""
    m = ROOT_RE.search(original)
    names = {found.group(1) for found in SIZE_RE.finditer(m.group(0))} if m else set()
    return names == {'width', 'height'}


def source_viewport_svg(original):
    """The original drawing without strokes, keeping its own viewport."""
    m = ROOT_RE.search(original)
    tag = m.group(0)
    style = '<style>*{stroke:none !important}</style>'
    if tag.endswith('/>'):
        return original[:m.start()] + tag[:-2] + '>' + style + '</svg>' + original[m.end():]
    return original[:m.start()] + tag + style + original[m.end():]


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument('--kxsvg', required=True)
    parser.add_argument('--corpus', default=os.path.join(here, '..', '..', 'shared', 'corpus'))
    parser.add_argument('--count', type=int, default=200)
    parser.add_argument('--seed', type=int, default=1)
    parser.add_argument('--width', type=int, default=256)
    parser.add_argument('--list-below', type=float, default=0.9)
    parser.add_argument('--preflight-flag', action='append', default=[],
                        help='extra flag for kxsvg preflight (repeatable), e.g. --preflight-flag=--ignore-fill-rule')
    parser.add_argument('--source-viewport', action='store_true',
                        help='draw the reference through the source root\'s own width, height, viewBox and '
                             'preserveAspectRatio (scaled to the output\'s pixel size) when it gives an absolute '
                             'width and height, so that root viewport rules are measured too')
    parser.add_argument('--min-mean', type=float, default=None,
                        help='exit with status 1 when the mean is below this value')
    parser.add_argument('files', nargs='*', help='measure these files instead of a sample')
    args = parser.parse_args()
    if shutil.which('rsvg-convert') is None:
        print('skipped: rsvg-convert not found (apt-get install librsvg2-bin)')
        return 77

    files = []
    for root, dirs, names in os.walk(args.corpus):
        dirs.sort()
        if os.sep + 'large' in root:
            continue
        files += [os.path.join(root, n) for n in sorted(names) if n.endswith('.svg')]
    files.sort()
    sample = random.Random(args.seed).sample(files, min(args.count, len(files)))
    if args.files:
        sample = [os.path.abspath(f) for f in args.files]

    results = []
    skipped = []
    triangulation_failures = 0
    both_empty = 0
    with tempfile.TemporaryDirectory() as tmp:
        pre = os.path.join(tmp, 'pre.svg')
        bare = os.path.join(tmp, 'bare.svg')
        ref_svg = os.path.join(tmp, 'ref.svg')
        kx_png = os.path.join(tmp, 'kx.png')
        ref_png = os.path.join(tmp, 'ref.png')
        for path in sample:
            run = subprocess.run([args.kxsvg, 'preflight', *args.preflight_flag, path, pre], capture_output=True, text=True)
            if run.returncode != 0:
                skipped.append((path, 'preflight failed: ' + run.stderr.strip()))
                continue
            report = run.stderr
            text = open(pre, encoding='utf-8').read()
            m = VIEWBOX_RE.search(ROOT_RE.search(text).group(0))
            if not m:
                skipped.append((path, 'no view box'))
                continue
            vb = [float(v) for v in re.split(r'[\s,]+', m.group(1).strip())]
            height = vb[3] * args.width / vb[2]
            with open(bare, 'w', encoding='utf-8') as f:
                f.write(re.sub(r'(\s)stroke="[^"]*"', r'\1stroke="none"', text))
            run = subprocess.run([args.kxsvg, 'render', bare, '-o', kx_png, '--width', str(args.width)],
                                 capture_output=True, text=True)
            if run.returncode != 0:
                skipped.append((path, 'kxsvg render failed: ' + run.stderr.strip()[:200]))
                continue
            if 'could not be triangulated' in run.stderr:
                # The library's triangulation, not the preflight, lost these fills.
                report = 'reason: the library could not triangulate a fill\n' + report
            original = open(path, encoding='utf-8', errors='replace').read()
            size = []
            if args.source_viewport and has_absolute_size(original):
                ref = source_viewport_svg(original)
                size = ['-w', str(args.width), '-h', str(int(round(height)))]
            else:
                ref = reference_svg(original, m.group(1), args.width, height)
            if ref is None:
                skipped.append((path, 'no svg root'))
                continue
            with open(ref_svg, 'w', encoding='utf-8') as f:
                f.write(ref)
            run = subprocess.run(['rsvg-convert', *size, ref_svg, '-o', ref_png], capture_output=True, text=True)
            if run.returncode != 0:
                skipped.append((path, 'rsvg-convert failed: ' + run.stderr.strip()[:200]))
                continue
            value, empty = iou(read_png_alpha(kx_png), read_png_alpha(ref_png))
            if empty:
                both_empty += 1
            results.append((value, path, report, empty))
            print('%.4f  %s' % (value, os.path.relpath(path, args.corpus)), flush=True)
            if 'reason: the library could not triangulate' in report:
                triangulation_failures += 1
    print('files where the library could not triangulate a fill: %d' % triangulation_failures)

    if not results:
        print('no file measured')
        return 1
    mean = sum(r[0] for r in results) / len(results)
    print()
    print('files measured: %d, skipped: %d, with no fill on either side (strokes only): %d' % (
        len(results), len(skipped), both_empty))
    print('mean intersection over union (fills only): %.4f' % mean)
    clean = [r for r in results if 'reason: the library could not triangulate' not in r[2]]
    if clean:
        print('files where every fill was triangulated: %d, their mean: %.4f' % (
            len(clean), sum(r[0] for r in clean) / len(clean)))
    filled = [r for r in clean if not r[3]]
    if filled:
        print('of those, files with fills on either side: %d, their mean: %.4f' % (
            len(filled), sum(r[0] for r in filled) / len(filled)))
    low = sorted(r for r in results if r[0] < args.list_below)
    print('files below %.2f: %d' % (args.list_below, len(low)))
    for value, path, report, _ in low:
        print('  %.4f  %s' % (value, os.path.relpath(path, args.corpus)))
        for line in report.splitlines():
            if line.startswith(('reason', 'approximated', 'dropped')):
                print('          ' + line)
    for path, why in skipped:
        print('  skipped %s: %s' % (os.path.relpath(path, args.corpus), why))
    if args.min_mean is not None and mean < args.min_mean:
        print('mean %.4f is below the required %.4f' % (mean, args.min_mean))
        return 1
    return 0


if __name__ == '__main__':
    sys.exit(main())
