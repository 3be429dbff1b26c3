// Generic two-deck MIDI controller for Vantaro DJ.
//
// It fits any controller that can be set to send the messages below; it has
// no device name of its own, so bind it to an input in config.xml:
//   midiin00 = the input's name, midiscr00 = generic-2deck.js
//
// Deck A sends on MIDI channel 1, deck B on channel 2 (channel numbers as
// shown on most devices; the script sees them as 0 and 1). Values in hex.
//
//   Message      Number  Control          Notes
//   note         0B      play / pause     LED shows the deck playing
//   note         0C      cue              LED shows the deck standing on its cue
//   note         0D      sync
//   note         0E      load             the selected row of the list
//   note         10      pitch bend down  held: the deck slows down
//   note         11      pitch bend up    held: the deck speeds up
//   note         12      jog touch        touched: the jog wheel scratches
//   CC           07      volume           0..127
//   CC           08      pitch            0..127, 64 is no change
//   CC           10      EQ low           0..127, 64 is flat
//   CC           11      EQ mid           0..127
//   CC           12      EQ high          0..127
//   CC           20      jog wheel        relative: 65..127 forward, 63..1 back
//   CC (ch. 1)   0A      crossfader       0 deck A .. 127 deck B
//
// A note-on with velocity 0 counts as a note-off.

var NOTE_PLAY = 0x0B;
var NOTE_CUE = 0x0C;
var NOTE_SYNC = 0x0D;
var NOTE_LOAD = 0x0E;
var NOTE_BEND_DOWN = 0x10;
var NOTE_BEND_UP = 0x11;
var NOTE_JOG_TOUCH = 0x12;

var CC_VOLUME = 0x07;
var CC_PITCH = 0x08;
var CC_CROSSFADER = 0x0A;
var CC_EQ_LOW = 0x10;
var CC_EQ_MID = 0x11;
var CC_EQ_HIGH = 0x12;
var CC_JOG = 0x20;

// Deck buttons: note number -> action.
var BUTTONS = {};
BUTTONS[NOTE_PLAY] = "deckPlayPause";
BUTTONS[NOTE_CUE] = "deckCue";
BUTTONS[NOTE_SYNC] = "deckSync";
BUTTONS[NOTE_LOAD] = "deckLBLoad";
BUTTONS[NOTE_BEND_DOWN] = "deckBendDown";
BUTTONS[NOTE_BEND_UP] = "deckBendUp";

// Deck faders and knobs: CC number -> action.
var FADERS = {};
FADERS[CC_VOLUME] = "setDeckVolume";
FADERS[CC_PITCH] = "setDeckPitch";
FADERS[CC_EQ_LOW] = "setDeckEqLow";
FADERS[CC_EQ_MID] = "setDeckEqMid";
FADERS[CC_EQ_HIGH] = "setDeckEqHigh";

// Values whose change lights an LED: value name -> note.
var LEDS = { play: NOTE_PLAY, cue: NOTE_CUE };

var jogTouched = [false, false];

function getLanguageVersion() { return 1; }
function getFileVersion() { return 1; }
function getControllerUserFriendlyName() { return "Generic 2-deck MIDI controller"; }
function getControllerType() { return "MIDI"; }
function getSupportedMidiSysExIdString() { return ""; }
function getSupportedMidiDeviceNameForInput() { return ""; }
function getSupportedMidiDeviceNameForOutput() { return ""; }

function setLeds(uniqueId, on) {
  for (var deck = 0; deck < 2; deck++) {
    for (var name in LEDS) sendMidi(uniqueId, 0x90, deck, LEDS[name], on ? 127 : 0);
  }
}

function controllerInit(uniqueId) {
  jogTouched = [false, false];
  setLeds(uniqueId, false);
  // Start from what the program shows now.
  for (var deck = 0; deck < 2; deck++) {
    for (var name in LEDS) {
      if (getValue(name, deck) > 0) sendMidi(uniqueId, 0x90, deck, LEDS[name], 127);
    }
  }
}

function controllerDeinit(uniqueId) {
  setLeds(uniqueId, false);
}

function onNote(deck, note, pressed) {
  if (note == NOTE_JOG_TOUCH) {
    jogTouched[deck] = pressed;
    return;
  }
  var action = BUTTONS[note];
  if (action) call(action, deck, pressed ? 127 : 0);
}

function onControl(deck, number, value) {
  if (number == CC_CROSSFADER && deck == 0) {
    call("setCrossfader", value);
    return;
  }
  if (number == CC_JOG) {
    var steps = value - 64;
    if (steps != 0) call(jogTouched[deck] ? "scratchDeckJW" : "moveDeckJogWheel", deck, steps);
    return;
  }
  var action = FADERS[number];
  if (action) call(action, deck, value);
}

function messageReceived(uniqueId, status, channel, data1, data2) {
  if (channel > 1) return;
  if (status == 0x90) onNote(channel, data1, data2 > 0);
  else if (status == 0x80) onNote(channel, data1, false);
  else if (status == 0xB0) onControl(channel, data1, data2);
}

function notificationReceived(uniqueId, name, deck, intValue, doubleValue, text) {
  if (deck < 0 || deck > 1 || !(name in LEDS)) return;
  sendMidi(uniqueId, 0x90, deck, LEDS[name], intValue > 0 ? 127 : 0);
}

function timerTick(uniqueId) {}
