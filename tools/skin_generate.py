#!/usr/bin/env python3
"""Writes the default skin "Vantaro": one SVG picture and one XML file per
screen size, both from the single layout below, so they cannot drift apart.

    tools/skin_generate.py           rewrite skins/vantaro-<W>x<H>.{svg,xml}
    tools/skin_generate.py --check   exit 1 when the committed files differ

The picture is the main window (W x H at 0,0) with every control in its
normal look, and below it an atlas of the other looks (pointer over,
pressed, switched on) and the fader caps. The program draws every word
(labels come from the language file); the picture holds none.

Python 3 standard library only.
"""

import argparse
import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SKIN_DIR = os.path.join(ROOT, "skins")

# ---- colours ------------------------------------------------------------------
BACK = "#0C0E11"  # window background between panels
PANEL = "#171A20"  # deck and mixer panels: what controls stand on
QUIET = "#111419"  # planned areas: empty until their feature lands
QUIET_EDGE = "#1D2128"
FACE = "#2A2F38"  # button face, normal
FACE_OVER = "#373D48"
FACE_DOWN = "#1C2026"
EDGE = "#9AA3AF"  # outline of controls that belong to no deck
TEXT = "#ECEEF1"
TEXT_DARK = "#0A0C0F"
SLOT = "#0B0D10"  # fader groove
TICK = "#4A515C"
CAP = "#D5D9DF"  # fader cap
CAP_OVER = "#F4F6F8"
METER_LOW, METER_MID, METER_HIGH = "#3DDC84", "#FFC53D", "#FF4D4D"
METER_OFF = "#1F242B"
METER_STEP = 4  # pixels a meter lights at a time: 3 lit, 1 dark between

# Deck A cyan, deck B amber: each with its "on", "on + over" and
# "on + pressed" fills; dark text stays above 7:1 on all three.
ACCENTS = {
    0: {"edge": "#2EC4E6", "on": "#2EC4E6", "onover": "#6AD6EE", "ondown": "#22AFCF"},
    1: {"edge": "#FF9F1C", "on": "#FF9F1C", "onover": "#FFB84F", "ondown": "#E88C10"},
    None: {"edge": EDGE, "on": "#D9DDE3", "onover": "#F0F2F5", "ondown": "#C3C8D0"},
}

# Per screen size: smallest hit area, knob, fader breadth, button height,
# margin, caption font index and height (index 3 is 15 px, 4 is 16 px, 5 is
# 19 px), the fader cap's length, the gap under a knob row, the mixer's
# centre column, the heights of the track info and waveform areas.
COMPACT = dict(hit=36, knob=40, fader=40, btn=38, m=6, font=3, cap=18, bigfont=5, killfont=2,
               cursor=24, rowgap=4, centre=120, info=44, wave=72)
STANDARD = dict(hit=44, knob=52, fader=52, btn=48, m=8, font=4, cap=20, bigfont=6, killfont=3,
                cursor=28, rowgap=6, centre=136, info=56, wave=96)
LARGE = dict(hit=56, knob=64, fader=64, btn=60, m=10, font=5, cap=24, bigfont=7, killfont=4,
             cursor=34, rowgap=8, centre=176, info=72, wave=140)
SIZES = {(1024, 600): COMPACT, (1280, 800): STANDARD, (1366, 768): STANDARD,
         (1920, 1080): LARGE}


class Layout:
    """Controls, captions and planned areas of one screen size, in window
    pixels; deck B and the right mixer strip are deck A's mirror."""

    def __init__(self, width, height, metrics):
        self.w, self.h = width, height
        self.k = metrics
        self.panels = []  # (x, y, w, h, deck or None)
        self.planned = []  # (x, y, w, h)
        self.controls = []  # dicts: kind, action, deck, x, y, w, h, extras
        self.build()

    # -- helpers --
    def mirror_x(self, x, w):
        return self.w - x - w

    def add(self, kind, action, deck, x, y, w, h, **extra):
        item = dict(kind=kind, action=action, deck=deck, x=x, y=y, w=w, h=h, **extra)
        self.controls.append(item)
        if deck == 0:
            twin = dict(item, deck=1, x=self.mirror_x(x, w))
            self.controls.append(twin)

    def caption(self, action, deck, x, y, w):
        self.add("text", action, deck, x, y, w, self.k["cap"])

    # -- the layout --
    def build(self):
        k, m = self.k, self.k["m"]
        hit, knob, fader, btn, cap = k["hit"], k["knob"], k["fader"], k["btn"], k["cap"]
        kill = max(hit, 40)
        column = kill + 4 + knob  # kill button beside its knob
        strip = column + m + fader  # one mixer channel
        centre = k["centre"]
        mixer_w = 4 * m + 2 * strip + centre
        deck_w = (self.w - mixer_w - 4 * m) // 2
        row = cap + 2 + knob + k["rowgap"]
        top_h = m + 5 * row + m + btn + m + btn + m  # strips, cue, crossfader
        self.top_h = top_h
        deck_x = m
        mixer_x = deck_x + deck_w + m
        self.panels += [(deck_x, m, deck_w, top_h - m, 0),
                        (self.mirror_x(deck_x, deck_w), m, deck_w, top_h - m, 1),
                        (mixer_x, m, mixer_w, top_h - m, None)]
        self.build_deck(deck_x, deck_w, top_h)
        self.build_mixer(mixer_x, mixer_w, strip, column, kill, centre, row)
        # Below: sampler on the left, browser and track list on the right.
        bottom_y = top_h + m
        bottom_h = self.h - bottom_y - m
        sampler_w = deck_w - 64
        self.build_sampler(m, bottom_y, sampler_w, bottom_h)
        self.build_library(2 * m + sampler_w, bottom_y, self.w - 3 * m - sampler_w, bottom_h)

    def build_library(self, x, y, w, h):
        """The browser on the left; the search box over the main track list
        in the middle; on the right the auto-mix buttons, the time left of
        the running mix and the smaller auto-mix list."""
        k, m = self.k, self.k["m"]
        hit, gap = k["hit"], 4
        browser_w = w * 22 // 100
        self.add("browser", "browser", None, x, y, browser_w, h)
        buttons = (("autodj", True), ("autodj_to_left", False), ("autodj_to_right", False),
                   ("autodj_less", False), ("autodj_more", False))
        auto_w = max(w * 30 // 100, len(buttons) * (hit + gap) - gap)
        ax = x + w - auto_w
        mx = x + browser_w + m
        search_h = k["cap"] + 10
        self.add("edit", "et_search", None, mx, y, ax - m - mx, search_h)
        list_y = y + search_h + gap
        self.add("list", "playlist", None, mx, list_y, ax - m - mx, y + h - list_y, info=True)
        bw = (auto_w - (len(buttons) - 1) * gap) // len(buttons)
        for i, (action, switch) in enumerate(buttons):
            bx = ax + i * (bw + gap)
            last = i == len(buttons) - 1
            self.add("button", action, None, bx, y, ax + auto_w - bx if last else bw, hit,
                     switch=switch, small=True)
        time_y = y + hit + gap
        self.add("text", "auto_dj_time", None, ax, time_y, auto_w, k["cap"], program=True)
        auto_y = time_y + k["cap"] + gap
        self.add("list", "kv_playlist", None, ax, auto_y, auto_w, y + h - auto_y)

    def build_deck(self, x0, deck_w, top_h):
        k, m = self.k, self.k["m"]
        cap, btn, fader = k["cap"], k["btn"], k["fader"]
        inner_x, inner_w = x0 + m, deck_w - 2 * m
        y = 2 * m + 4  # under the deck's accent bar
        info_h, wave_h = k["info"], k["wave"]
        # Track name over the times and the tempo; then the waveform.
        title_h = info_h // 2
        self.add("text", "deck_songname", 0, inner_x, y, inner_w, title_h, program=True,
                 align="left")
        row_y, row_h = y + title_h, info_h - title_h
        time_w = inner_w * 3 // 10
        tempo_w = (inner_w - 2 * time_w) // 2
        cells = (("deck_elapsed", time_w), ("deck_remained", time_w), ("deck_bpm", tempo_w),
                 ("deck_pitch_tempo", inner_w - 2 * time_w - tempo_w))
        cx = inner_x
        for action, cw in cells:
            self.add("text", action, 0, cx, row_y, cw, row_h, program=True, big=True)
            cx += cw
        y += info_h + m
        self.add("wave", "sd_deck", 0, inner_x, y, inner_w, wave_h)
        y += wave_h + m
        lower_top, lower_bottom = y, top_h - m
        # Pitch on the outer edge: caption, long fader, reset under it.
        px = inner_x
        self.caption("label_pitch", 0, px, lower_top, fader + 8)
        fader_top = lower_top + cap + 2
        reset_h = btn
        fader_h = lower_bottom - fader_top - m - reset_h
        self.add("fader", "deck_pitch", 0, px + 4, fader_top, fader, fader_h, centre=True)
        self.add("button", "deck_reset_pitch", 0, px + 4, lower_bottom - reset_h, fader, reset_h)
        # Bend beside it: two tall buttons.
        bx = px + fader + 8 + m
        bend_w = fader
        self.caption("label_pitchbend", 0, bx - 4, lower_top, bend_w + 8)
        bend_h = btn + 8
        self.add("button", "deck_bend_up", 0, bx, fader_top, bend_w, bend_h, big=True)
        self.add("button", "deck_bend_down", 0, bx, fader_top + bend_h + m, bend_w, bend_h,
                 big=True)
        # Transport in the rest: play wide at the bottom, reverse and brake
        # above it, planned pads and effects above them.
        tx = bx + bend_w + m
        tw = inner_x + inner_w - tx
        play_h = btn + 12
        play_y = lower_bottom - play_h
        # Cue beside play, on the outer side: the pair a thumb rests on.
        cue_w = (tw - m) * 2 // 5
        self.add("button", "deck_cue", 0, tx, play_y, cue_w, play_h, big=True)
        self.add("button", "deck_play_pause", 0, tx + cue_w + m, play_y, tw - cue_w - m, play_h,
                 switch=True, big=True)
        third = (tw - 2 * m) // 3
        row_y = play_y - m - btn
        self.add("button", "deck_reverse", 0, tx, row_y, third, btn, switch=True)
        self.add("button", "deck_brake", 0, tx + third + m, row_y, third, btn, switch=True)
        self.add("button", "deck_key_lock", 0, tx + 2 * (third + m), row_y,
                 tw - 2 * (third + m), btn, switch=True)
        pads_h = (row_y - m - lower_top) * 3 // 5
        # Pads: sync, setting the cue, the loop and beat jumps; then the
        # place that takes dropped files.
        pads = (("deck_sync", "deck_setcue", "deck_loop_in_end", "deck_loop_out"),
                ("deck_skip_beat_prev", "deck_skip_beat", "deck_back_to_top",
                 "deck_loop_reloop"))
        pad_w = (tw - 3 * 4) // 4
        pad_h = (pads_h - 4) // 2
        for r, row_actions in enumerate(pads):
            for i, action in enumerate(row_actions):
                self.add("button", action, 0, tx + i * (pad_w + 4), lower_top + r * (pad_h + 4),
                         pad_w, pad_h, small=True)
        drop_y = lower_top + pads_h + m
        drop_h = row_y - m - drop_y
        # The key shift knob stands over the key lock button, at the end of
        # the row; the rest takes dropped files.
        knob = min(k["knob"], drop_h)
        self.add("dropzone", "dz_deck", 0, tx, drop_y, tw - knob - 2 * m, drop_h)
        self.add("knob", "deck_pitch_key", 0, tx + tw - knob - m, drop_y + (drop_h - knob) // 2,
                 knob, knob)

    def build_mixer(self, x0, mixer_w, strip, column, kill, centre, row):
        k, m = self.k, self.k["m"]
        cap, knob, btn, fader = k["cap"], k["knob"], k["btn"], k["fader"]
        y0 = 2 * m
        sx = x0 + m  # strip A: kills, knobs, then the volume fader
        rows = [("label_gain", "deck_gain", None),
                ("label_eqhigh", "deck_eq_high", "deck_kill_high"),
                ("label_eqmid", "deck_eq_mid", "deck_kill_mid"),
                ("label_eqlow", "deck_eq_low", "deck_kill_low"),
                ("label_filter", "deck_cutoff_filter", None)]
        fx = sx + column + m  # the volume fader's left edge
        for i, (label, action, kill_action) in enumerate(rows):
            ry, ky = y0 + i * row, y0 + i * row + cap + 2
            if kill_action:
                # Kill on the outside, the knob beside it with its caption
                # centred over it, as wide as the room up to the fader.
                knob_x = sx + kill + 4
                half = fx - 1 - (knob_x + knob // 2)
                self.caption(label, 0, knob_x + knob // 2 - half, ry, 2 * half)
                self.add("button", kill_action, 0, sx, ky + (knob - kill) // 2, kill, kill,
                         switch=True, small=True)
            else:
                knob_x = sx + (column - knob) // 2
                self.caption(label, 0, sx, ry, column)
            self.add("knob", action, 0, knob_x, ky, knob, knob)
        cue_y = y0 + 5 * row
        self.add("button", "deck_monitor", 0, sx, cue_y, column, btn, switch=True)
        self.add("fader", "deck_volume", 0, fx, y0, fader, cue_y + btn - y0, meter=True)
        # Centre: the meters (deck A, master, deck B), three knobs, talk and
        # learn.
        cx = x0 + 2 * m + strip
        meter_h = cue_y + btn - y0 - 3 * row - m - btn
        pair = 3  # between a left and a right column
        bar_w = (centre - 3 * pair - 2 * m) // 6
        # The record button over the meters: the master is what it records;
        # under it, how long the recording runs.
        self.add("button", "recording", None, cx, y0, centre, btn, switch=True, small=True)
        self.add("text", "record_time", None, cx, y0 + btn + 2, centre, cap, program=True)
        bar_h = (meter_h - 2 * m - btn - cap - 2) // METER_STEP * METER_STEP
        bar_y = y0 + meter_h - m - bar_h
        self.add("meter", "vm_deckl", 0, cx, bar_y, bar_w, bar_h)
        self.add("meter", "vm_deckr", 0, cx + bar_w + pair, bar_y, bar_w, bar_h)
        # Deck B's pair is deck A's mirror, but left stays left of right.
        twins = [c for c in self.controls if c["deck"] == 1 and c["kind"] == "meter"]
        twins[0]["x"], twins[1]["x"] = twins[1]["x"], twins[0]["x"]
        master_x = cx + (centre - 2 * bar_w - pair) // 2
        self.add("meter", "vm_masterl", None, master_x, bar_y, bar_w, bar_h)
        self.add("meter", "vm_masterr", None, master_x + bar_w + pair, bar_y, bar_w, bar_h)
        ky = y0 + meter_h
        for i, (label, action) in enumerate((("label_gain_master", "master_gain"),
                                             ("label_gain_monitor", "monitor_gain"),
                                             ("label_pfl_mix", "cue_pfl_mix"))):
            self.caption(label, None, cx, ky + i * row, centre)
            self.add("knob", action, None, cx + (centre - knob) // 2, ky + i * row + cap + 2,
                     knob, knob)
        half = (centre - m) // 2
        self.add("button", "talkover", None, cx, cue_y, half, btn, switch=True, small=True)
        self.add("button", "learn", None, cx + half + m, cue_y, centre - half - m, btn,
                 switch=True, small=True)
        # Crossfader under the centre, reaching over both volume faders.
        xf_x = fx
        xf_w = self.mirror_x(fx, fader) + fader - fx
        self.add("fader", "crossfader", None, xf_x, cue_y + btn + m, xf_w, btn, centre=True)


    def build_sampler(self, x0, y0, w, h):
        """The eight sampler pads in two rows under their caption, the
        sampler's volume under them. The pads and the volume are the skin's
        own controls (named "_sampler1".."_sampler8", "_sampler_volume"):
        the program finds them by name, lights a pad while its slot plays
        and writes the slot's name on it."""
        k, m = self.k, self.k["m"]
        cap, hit = k["cap"], k["hit"]
        self.panels.append((x0, y0, w, h, None))
        ix, iw = x0 + m, w - 2 * m
        self.caption("label_sampler", None, ix, y0 + m, iw)
        pads_y = y0 + m + cap + 2
        volume_h = hit
        volume_y = y0 + h - m - volume_h
        gap = 4
        pad_w = (iw - 3 * gap) // 4
        pad_h = (volume_y - m - pads_y - gap) // 2
        for slot in range(8):
            row, col = divmod(slot, 4)
            self.add("button", f"_sampler{slot + 1}", None, ix + col * (pad_w + gap),
                     pads_y + row * (pad_h + gap), pad_w, pad_h, switch=True, small=True)
        # The volume's caption beside it: above, it would take the pads'
        # room at 1024x600.
        label_w = iw // 4
        self.add("text", "label_volume_a", None, ix, volume_y + (volume_h - cap) // 2, label_w,
                 cap)
        self.add("fader", "_sampler_volume", None, ix + label_w + 4, volume_y, iw - label_w - 4,
                 volume_h)


# ---- the picture ----------------------------------------------------------------

class Atlas:
    """Packs the extra looks below the window: each goes where the skyline
    of what is already placed is lowest (then leftmost)."""

    def __init__(self, top, width, gap=4):
        self.gap, self.width = gap, width
        self.sky = [top + gap] * width  # first free row at each column

    def place(self, w, h):
        best = None
        for x in range(self.gap, self.width - w - self.gap + 1, self.gap):
            y = max(self.sky[x:x + w + self.gap])
            if best is None or y < best[1]:
                best = (x, y)
        x, y = best
        for i in range(x, x + w + self.gap):
            self.sky[i] = y + h + self.gap
        return x, y

    def bottom(self):
        return max(self.sky)


def accent(deck):
    return ACCENTS[deck]


def rect(x, y, w, h, fill, stroke=None, sw=0, rx=0):
    inset = sw / 2
    s = f' stroke="{stroke}" stroke-width="{sw}"' if stroke else ""
    r = f' rx="{rx}"' if rx else ""
    return (f'<rect x="{x + inset:g}" y="{y + inset:g}" width="{w - sw:g}" height="{h - sw:g}"'
            f'{r} fill="{fill}"{s}/>')


def button_face(x, y, w, h, fill, edge):
    # The panel shows at the rounded corners, as it does in the window.
    return rect(x, y, w, h, PANEL) + rect(x, y, w, h, fill, edge, 2, 5)


def knob_face(x, y, size, edge, fill):
    r = size / 2
    return (rect(x, y, size, size, PANEL) +
            f'<circle cx="{x + r:g}" cy="{y + r:g}" r="{r - 1:g}" fill="{fill}" '
            f'stroke="{edge}" stroke-width="2"/>' +
            f'<circle cx="{x + r:g}" cy="{y + r:g}" r="{r * 0.62:g}" fill="{FACE_DOWN}"/>')


def fader_track(c, lit):
    """The groove with its ticks; `lit` draws the two level columns full."""
    x, y, w, h = c["x"], c["y"], c["w"], c["h"]
    out = [rect(x, y, w, h, PANEL), rect(x, y, w, h, SLOT, accent(c["deck"])["edge"], 2, 4)]
    horizontal = w > h
    length = w if horizontal else h
    breadth = h if horizontal else w
    cap_len = c["cap_len"]
    run = length - cap_len  # the cursor centre travels this far
    ticks = 10
    for i in range(ticks + 1):
        at = cap_len // 2 + round(run * i / ticks)
        major = i in (0, ticks // 2, ticks)
        reach = breadth // 4 if major else breadth // 6
        colour = EDGE if (major and c.get("centre")) else TICK
        if horizontal:
            out.append(f'<line x1="{x + at}" y1="{y + 3}" x2="{x + at}" y2="{y + 3 + reach}" '
                       f'stroke="{colour}" stroke-width="2"/>')
            out.append(f'<line x1="{x + at}" y1="{y + h - 3 - reach}" x2="{x + at}" '
                       f'y2="{y + h - 3}" stroke="{colour}" stroke-width="2"/>')
        else:
            out.append(f'<line x1="{x + 3}" y1="{y + at}" x2="{x + 3 + reach}" y2="{y + at}" '
                       f'stroke="{colour}" stroke-width="2"/>')
            out.append(f'<line x1="{x + w - 3 - reach}" y1="{y + at}" x2="{x + w - 3}" '
                       f'y2="{y + at}" stroke="{colour}" stroke-width="2"/>')
    if horizontal:
        out.append(rect(x + cap_len // 2, y + h // 2 - 2, run, 4, "#000000"))
    else:
        out.append(rect(x + w // 2 - 2, y + cap_len // 2, 4, run, "#000000"))
    if c.get("meter"):
        out += meter_columns(c, lit)
    return "".join(out)


def meter_columns(c, lit):
    # Two columns, one in each half of the fader, lit from the bottom:
    # green to half, amber to five sixths, red above.
    x, y, w, h = c["x"], c["y"], c["w"], c["h"]
    begin = c["meter_offset"]
    length = h - 2 * begin
    out = []
    for left in (x + w // 4 - 3, x + 3 * w // 4 - 3):
        for seg in range(0, length, 4):
            frac = seg / length
            colour = METER_OFF if not lit else (
                METER_LOW if frac < 0.5 else METER_MID if frac < 5 / 6 else METER_HIGH)
            out.append(rect(left, y + h - begin - seg - 3, 6, 3, colour))
    return out


def meter_steps(x, y, w, h, lit):
    """A level meter's column of steps from the bottom: dark, or lit in the
    zone colours the program uses (below 60 %, below 85 %, above)."""
    out = [rect(x, y, w, h, SLOT)]
    for k in range(h // METER_STEP):
        frac = k * METER_STEP / h
        colour = METER_OFF if not lit else (
            METER_LOW if frac < 0.6 else METER_MID if frac < 0.85 else METER_HIGH)
        out.append(rect(x, y + h - k * METER_STEP - (METER_STEP - 1), w, METER_STEP - 1, colour))
    return "".join(out)


def fader_cap(x, y, cw, ch, horizontal, deck, over):
    fill = CAP_OVER if over else CAP
    out = rect(x, y, cw, ch, fill, TEXT_DARK, 1, 3)
    colour = accent(deck)["edge"] if deck is not None else TEXT_DARK
    if horizontal:
        out += rect(x + cw // 2 - 2, y + 3, 4, ch - 6, colour)
    else:
        out += rect(x + 3, y + ch // 2 - 2, cw - 6, 4, colour)
    return out


def picture_and_attributes(layout):
    """Draws the picture and fills each control's skin attributes."""
    w, h = layout.w, layout.h
    atlas = Atlas(h, w)
    body = [rect(0, 0, w, h, BACK)]
    for (x, y, pw, ph, deck) in layout.panels:
        body.append(rect(x, y, pw, ph, PANEL, None, 0, 6))
        if deck is not None:  # the deck's accent bar along its top
            body.append(rect(x + 6, y, pw - 12, 4, accent(deck)["edge"]))
    for (x, y, pw, ph) in layout.planned:
        body.append(rect(x, y, pw, ph, QUIET, QUIET_EDGE, 1, 4))
    # Extra looks go to the atlas tallest first, so that rows pack tight:
    # each request is (width, height, draw(x, y) -> svg, attribute prefix).
    requests = []
    for c in layout.controls:
        a = accent(c["deck"])
        c["attrs"] = {}
        if c["kind"] == "button":
            body.append(button_face(c["x"], c["y"], c["w"], c["h"], FACE, a["edge"]))
            looks = [("over", FACE_OVER, a["edge"]), ("down", FACE_DOWN, a["edge"])]
            if c.get("switch"):
                looks += [("sel", a["on"], a["on"]), ("oversel", a["onover"], a["onover"]),
                          ("downsel", a["ondown"], a["ondown"])]
            for (name, fill, edge) in looks:
                requests.append((c, name, c["w"], c["h"],
                                 lambda x, y, c=c, fill=fill, edge=edge:
                                 button_face(x, y, c["w"], c["h"], fill, edge)))
        elif c["kind"] == "wave":
            body.append(rect(c["x"], c["y"], c["w"], c["h"], SLOT, a["edge"], 1, 4))
        elif c["kind"] == "meter":
            body.append(meter_steps(c["x"], c["y"], c["w"], c["h"], lit=False))
            requests.append((c, "activeup", c["w"], c["h"],
                             lambda x, y, c=c: meter_steps(x, y, c["w"], c["h"], lit=True)))
        elif c["kind"] == "dropzone":
            body.append(rect(c["x"], c["y"], c["w"], c["h"], QUIET, a["edge"], 1, 6))
        elif c["kind"] in ("list", "browser", "edit"):
            body.append(rect(c["x"], c["y"], c["w"], c["h"], FACE if c["kind"] == "edit" else QUIET,
                             QUIET_EDGE, 1, 0))
        elif c["kind"] == "knob":
            body.append(knob_face(c["x"], c["y"], c["w"], a["edge"], FACE))
            edge = a["on"] if c["deck"] is not None else TEXT
            requests.append((c, "over", c["w"], c["h"],
                             lambda x, y, c=c, edge=edge: knob_face(x, y, c["w"], edge,
                                                                    FACE_OVER)))
        elif c["kind"] == "fader":
            horizontal = c["w"] > c["h"]
            # The cap is a little narrower than its groove; the crossfader's
            # is longer, to take a thumb.
            length, inset = layout.k["cursor"], layout.k["m"]
            cw, ch = (length + 12, c["h"] - inset) if horizontal else (c["w"] - inset, length)
            c["cap_len"] = cw if horizontal else ch
            c["meter_offset"] = ch // 2
            c["attrs"]["cursorwidth"], c["attrs"]["cursorheight"] = cw, ch
            body.append(fader_track(c, lit=False))
            for name, over in (("cursorup", False), ("cursorover", True)):
                requests.append((c, name, cw, ch,
                                 lambda x, y, c=c, cw=cw, ch=ch, hz=horizontal, over=over:
                                 fader_cap(x, y, cw, ch, hz, c["deck"], over)))
            if c.get("meter"):
                requests.append((c, "vu_up", c["w"], c["h"],
                                 lambda x, y, c=c: fader_track(dict(c, x=x, y=y), lit=True)))
    extra = []
    for (c, name, rw, rh, draw) in sorted(requests, key=lambda r: -r[3]):
        ax, ay = atlas.place(rw, rh)
        extra.append(draw(ax, ay))
        c["attrs"][name + "x"], c["attrs"][name + "y"] = ax, ay
    total_h = atlas.bottom()
    # The atlas stands on the panel colour, so that what shows around a
    # rounded face is what the window shows there.
    svg = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{w}" height="{total_h}" '
           f'viewBox="0 0 {w} {total_h}">',
           f'<!-- Vantaro, {w}x{h}: written by tools/skin_generate.py; edit that, not this. -->',
           rect(0, h, w, total_h - h, PANEL)] + body + extra + ["</svg>"]
    return "\n".join(svg) + "\n", total_h


# ---- the skin file ---------------------------------------------------------------

def xml_attributes(pairs):
    return " ".join(f'{k}="{v}"' for k, v in pairs)


def control_element(layout, c):
    k = layout.k
    a = accent(c["deck"])
    pairs = [("action", c["action"])]
    if c["deck"] is not None:
        pairs.append(("deck", c["deck"]))
    pairs += [("posx", c["x"]), ("posy", c["y"]), ("width", c["w"]), ("height", c["h"]),
              ("graphics_mode", 0)]
    if c["kind"] == "text":
        size = k["bigfont"] if c.get("big") else k["font"]
        pairs += [("transparent", "yes"), ("backcolor", PANEL), ("fontcolor", TEXT),
                  ("fontsize", size), ("fontstyle", "bold"),
                  ("fontalign", c.get("align", "center"))]
        return f"    <textarea {xml_attributes(pairs)} />"
    if c["kind"] == "wave":
        pairs += [("datacolor", a["edge"]), ("beatcolor", TEXT), ("cuecolor", METER_HIGH),
                  ("loopcolor", METER_LOW), ("cursorcolor", TEXT), ("fontcolor", TEXT),
                  ("backcolor", SLOT), ("fontsize", k["killfont"]), ("fontstyle", "bold")]
        return f"    <sounddisplay {xml_attributes(pairs)} />"
    if c["kind"] == "meter":
        pairs += sorted(c["attrs"].items())
        pairs += [("activestepsize", METER_STEP), ("colorlow", METER_LOW),
                  ("colormid", METER_MID), ("colorhigh", METER_HIGH),
                  ("backcolorlow", METER_OFF), ("backcolormid", METER_OFF),
                  ("backcolorhigh", METER_OFF)]
        return f"    <vumeter {xml_attributes(pairs)} />"
    if c["kind"] == "dropzone":
        pairs += [("backcolor", QUIET), ("bordercolor", a["edge"]), ("fontcolor", EDGE),
                  ("fontsize", k["killfont"]), ("fontstyle", "bold")]
        return f"    <dropzone {xml_attributes(pairs)} />"
    if c["kind"] == "list":
        pairs += [("lineheight", k["cap"] + 4), ("sliderheight", max(k["m"] + 4, 12)),
                  ("fontsize", k["killfont"]), ("fontsizesmall", max(k["killfont"] - 1, 1))]
        if c.get("info"):
            pairs.append(("infoheight", k["cap"] + 2))
        pairs += [("backcolor", QUIET), ("fontcolor", TEXT), ("fontcolorloaded", METER_MID),
                  ("headerfillcolor", FACE), ("headerbordercolor", TICK),
                  ("headerfontcolor", TEXT), ("gridcolor", QUIET_EDGE),
                  ("cursorcolor", ACCENTS[None]["on"]), ("maincursorfontcolor", TEXT_DARK),
                  ("nextcursorfontcolor", METER_LOW), ("slidercolor", EDGE),
                  ("borderactivecolor", ACCENTS[0]["edge"]),
                  ("currentitemdoublebordercolor", ACCENTS[1]["edge"])]
        return f"    <list {xml_attributes(pairs)} />"
    if c["kind"] == "browser":
        pairs += [("fontsize", k["killfont"]), ("backcolor", QUIET), ("fontcolor", TEXT),
                  ("fontcolorselected", TEXT_DARK), ("headerfontcolor", TEXT),
                  ("gridcolor", QUIET_EDGE), ("slidercolor", EDGE), ("sliderbordercolor", TICK),
                  ("cursorcolor", ACCENTS[None]["on"]), ("cursorbordercolor", EDGE),
                  ("borderactivecolor", ACCENTS[0]["edge"])]
        return f"    <browser {xml_attributes(pairs)} />"
    if c["kind"] == "edit":
        pairs += [("fontsize", k["font"]), ("backcolor", FACE), ("fontcolor", TEXT)]
        return f"    <editarea {xml_attributes(pairs)} />"
    if c["kind"] == "button":
        size = k["bigfont"] if c.get("big") else k["killfont"] if c.get("small") else k["font"]
        pairs += [("isswitch", "yes" if c.get("switch") else "no"), ("showlabel", "yes")]
        pairs += sorted(c["attrs"].items())
        pairs += [("fontcolor", TEXT), ("fontcolorpressed", TEXT),
                  ("fontcolorswitched", TEXT_DARK), ("fontsize", size), ("fontstyle", "bold"),
                  ("backcolor", FACE), ("backcolorover", FACE_OVER),
                  ("backcolordown", FACE_DOWN), ("bordercolor", a["edge"])]
        if c.get("switch"):
            pairs += [("backcolorsel", a["on"]), ("backcoloroversel", a["onover"]),
                      ("backcolordownsel", a["ondown"])]
        return f"    <button {xml_attributes(pairs)} />"
    pairs += sorted(c["attrs"].items())
    if c["kind"] == "knob":
        r = c["w"] // 2
        pairs += [("isknob", "yes"), ("rotation", 270), ("useline", "yes"),
                  ("linewidth", 3), ("radius", r - 5), ("cursorsize", r * 2 // 3),
                  ("cursorcolor", TEXT), ("focusedcursorcolor", a["on"]),
                  ("aliasing", "yes"), ("step", 40)]
    else:
        pairs += [("step", 50)]
        if c.get("meter"):
            pairs += [("vu_enabled", "yes"), ("vu_offsetbegin", c["meter_offset"]),
                      ("vu_offsetend", c["meter_offset"]), ("vu_granularity", 4)]
    pairs += [("backcolor", SLOT), ("slidercolor", CAP), ("slidercolorover", CAP_OVER)]
    return f"    <slider {xml_attributes(pairs)} />"


def skin_xml(layout):
    lines = ['<?xml version="1.0" encoding="UTF-8"?>',
             f'<!-- Vantaro, {layout.w}x{layout.h}: written by tools/skin_generate.py; '
             'edit that, not this. -->',
             f'<skin skinname="Vantaro" targetversion="2" screenwidth="{layout.w}" '
             f'screenheight="{layout.h}">',
             f'  <window action="main" width="{layout.w}" height="{layout.h}" upx="0" upy="0" '
             f'posx="-1" posy="-1" usecolors="no" backcolor="{BACK}" bordercolor="{BACK}">']
    lines += [control_element(layout, c) for c in layout.controls]
    lines += ["  </window>", "</skin>"]
    return "\n".join(lines) + "\n"


def render_all():
    files = {}
    for (w, h), metrics in SIZES.items():
        layout = Layout(w, h, metrics)
        svg, _ = picture_and_attributes(layout)
        files[f"vantaro-{w}x{h}.svg"] = svg
        files[f"vantaro-{w}x{h}.xml"] = skin_xml(layout)
    return files


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--check", action="store_true",
                        help="compare with the files in skins/ instead of writing them")
    parser.add_argument("--dir", default=SKIN_DIR, help="skin folder (default: skins/)")
    args = parser.parse_args()
    files = render_all()
    if args.check:
        # A size the generator no longer writes is stale too.
        stale = sorted(name for name in os.listdir(args.dir) if name.startswith("vantaro-")
                       and name.endswith((".svg", ".xml")) and name not in files)
        for name, text in sorted(files.items()):
            path = os.path.join(args.dir, name)
            try:
                with open(path, encoding="utf-8") as f:
                    same = f.read() == text
            except OSError:
                same = False
            if not same:
                stale.append(name)
        if stale:
            print("out of step with tools/skin_generate.py: " + ", ".join(stale)
                  + " (run tools/skin_generate.py and commit the result)")
            return 1
        print(f"{len(files)} skin files match their generator")
        return 0
    os.makedirs(args.dir, exist_ok=True)
    for name, text in sorted(files.items()):
        with open(os.path.join(args.dir, name), "w", encoding="utf-8") as f:
            f.write(text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
