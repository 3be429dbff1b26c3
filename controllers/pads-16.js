// 16-pad MIDI controller for Vantaro DJ: hot cues, loops and the sampler.
//
// It fits any pad controller whose pads send notes 24..33 (hex) on MIDI
// channel 10 and whose pad lights answer the same notes. It has no device
// name of its own, so bind it to an input in config.xml:
//   midiin01 = the input's name, midiscr01 = pads-16.js
//
// Pads, in rows of four from the bottom left (notes in hex):
//
//   Pads  Notes   Action on the selected deck      LED
//   1-4   24-27   hot cue 1-4: set, or jump        lit while the cue is set
//   5-8   28-2B   loop of 1, 2, 4, 8 beats         lit while that loop plays
//                 (the lit pad again exits it)
//   9-12  2C-2F   sampler slot 1-4: play / stop    lit while the slot plays
//   13-16 30-33   sampler slot 5-8: play / stop    lit while the slot plays
//
//   Other controls (channel 10)
//   CC    0E      deck select: 0..63 deck A, 64..127 deck B
//   note  34      shift, held: pads 1-4 clear their cue instead
//
// LEDs: note-on with velocity 127 lights a pad, 0 puts it out.

var CHANNEL = 9;  // MIDI channel 10
var FIRST_PAD = 0x24;
var NOTE_SHIFT = 0x34;
var CC_DECK = 0x0E;
var LOOP_ACTIONS = ["deckLoop1", "deckLoop2", "deckLoop4", "deckLoop8"];

var deck = 0;
var shift = false;
var loopPad = -1;  // the loop pad whose loop plays, -1 none
var lit = [];      // pad -> LED state sent

function getLanguageVersion() { return 1; }
function getFileVersion() { return 1; }
function getControllerUserFriendlyName() { return "16-pad controller"; }
function getControllerType() { return "MIDI"; }
function getSupportedMidiSysExIdString() { return ""; }
function getSupportedMidiDeviceNameForInput() { return ""; }
function getSupportedMidiDeviceNameForOutput() { return ""; }

function light(uniqueId, pad, on) {
  if (lit[pad] === on) return;
  lit[pad] = on;
  sendMidi(uniqueId, 0x90, CHANNEL, FIRST_PAD + pad, on ? 127 : 0);
}

// Every pad light from the program's values, for the selected deck.
function showAll(uniqueId) {
  for (var cue = 0; cue < 4; cue++) light(uniqueId, cue, getValue("cuepos" + (cue + 1), deck) > 0);
  if (!(getValue("looping", deck) > 0)) loopPad = -1;
  for (var loop = 0; loop < 4; loop++) light(uniqueId, 4 + loop, loopPad == 4 + loop);
  for (var slot = 0; slot < 8; slot++) light(uniqueId, 8 + slot, getValue("sampler" + (slot + 1) + "playing") > 0);
}

function controllerInit(uniqueId) {
  deck = 0;
  shift = false;
  loopPad = -1;
  lit = [];
  for (var pad = 0; pad < 16; pad++) light(uniqueId, pad, false);
  showAll(uniqueId);
}

function controllerDeinit(uniqueId) {
  for (var pad = 0; pad < 16; pad++) light(uniqueId, pad, false);
}

function padPressed(uniqueId, pad) {
  if (pad < 4) {
    if (shift) call("deckCuePosClear", deck, -1);
    else call("deckCuePos" + (pad + 1), deck, -1);
  } else if (pad < 8) {
    if (loopPad == pad) {
      call("deckLoopExit", deck, -1);
      loopPad = -1;
    } else {
      call(LOOP_ACTIONS[pad - 4], deck, -1);
      loopPad = pad;
    }
    for (var loop = 4; loop < 8; loop++) light(uniqueId, loop, loopPad == loop);
  } else {
    call("samplerPlay", pad - 7);
  }
}

function messageReceived(uniqueId, status, channel, data1, data2) {
  if (channel != CHANNEL) return;
  var pressed = status == 0x90 && data2 > 0;
  if (status == 0xB0 && data1 == CC_DECK) {
    var selected = data2 >= 64 ? 1 : 0;
    if (selected != deck) {
      deck = selected;
      loopPad = -1;
      showAll(uniqueId);
    }
  } else if (data1 == NOTE_SHIFT && (status == 0x90 || status == 0x80)) {
    shift = pressed;
  } else if (pressed && data1 >= FIRST_PAD && data1 < FIRST_PAD + 16) {
    padPressed(uniqueId, data1 - FIRST_PAD);
  }
}

function notificationReceived(uniqueId, name, valueDeck, intValue, doubleValue, text) {
  var on = intValue > 0;
  var cue = /^cuepos([1-4])$/.exec(name);
  if (cue && valueDeck == deck) {
    light(uniqueId, Number(cue[1]) - 1, on);
  } else if (name == "looping" && valueDeck == deck && !on && loopPad >= 0) {
    light(uniqueId, loopPad, false);
    loopPad = -1;
  } else {
    var sampler = /^sampler([1-8])$/.exec(name);
    if (sampler) light(uniqueId, 7 + Number(sampler[1]), on);
  }
}

function timerTick(uniqueId) {}
