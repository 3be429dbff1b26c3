#pragma once
// The song database: the program's memory of every track it has met, keyed
// by MakeSongKey, kept in one process-wide table and in db.vtx in the
// Database folder.
//
// Life: LoadSongDatabase at start-up creates the table and fills it;
// SaveSongDatabase at close writes it and destroys it. Without a table
// (before start-up, after close) every lookup fails and every change does
// nothing.
//
// Durability: db.vtx is only ever replaced whole (temporary file, flushed,
// renamed; the previous file kept as db.vtx.bak). While the program runs, a
// worker thread writes a snapshot of the table at most 30 s after the first
// unsaved change, so a crash loses at most that much. A db.vtx that is
// damaged keeps every record that can be read; one that cannot be used
// whole (damaged, refused as hostile or too large, or unreadable) is moved
// aside as db.vtx.broken-YYYYMMDD-HHMMSS before anything replaces it, and
// TakeSongDatabaseMessage tells the user once. A db.vtx that is a symbolic
// link stays one: its target is read and written.
//
// Threads: every operation may be called from any thread but the audio
// thread (the table has a reader-writer lock; it aborts on a real-time thread
// in checked builds). Records are copied in and out whole.

#include <cstddef>
#include <string>
#include <string_view>

#include "library/song_record.h"

namespace vantaro {

// Start-up: creates an empty table and fills it from `path` (db.vtx).
// Returns true when the file is a song database, even a damaged one (its
// readable records are in the table, the file is moved aside and the count
// of damaged places logged). Returns false when the file is missing,
// unreadable, refused or not a song database: the table then stays, empty
// (a file that exists is moved aside).
// Also starts the periodic saver, which writes to `path`.
bool LoadSongDatabase(const std::string& path);

// Close: stops the periodic saver, writes the table to `path` and destroys
// it. Returns false when there is no table or the file cannot be written
// (the old file then stays as it was; the table is destroyed either way).
bool SaveSongDatabase(const std::string& path);

// Writes a snapshot of the table to the path given at load, now, keeping
// the table. Returns false with no table or on a write failure. The
// periodic saver uses it; so may a caller that wants the file current.
bool SaveSongDatabaseNow();

// Number of records; 0 without a table.
std::size_t SongCount();

// Copies the record of `key` into `record` and returns true when present;
// `record` is untouched otherwise. The lookup itself allocates nothing.
bool FindSong(std::string_view key, TZKSongRecord& record);

// Inserts or replaces the record under `record.name`. False without a
// table or with an empty name.
bool StoreSong(const TZKSongRecord& record);

// Erases the record of `key`; false when absent or without a table.
bool RemoveSong(std::string_view key);

// Erases every record and keeps the table; false without a table.
bool ClearSongs();

// True when a change has not reached db.vtx yet.
bool SongDatabaseHasUnsavedChanges();

// A message for the user about the last load (where a broken file went),
// returned once; empty when there is nothing to tell. GUI thread.
std::string TakeSongDatabaseMessage();

// The longest a change waits in memory before the periodic saver writes it,
// in milliseconds (default 28,000, so that even a large table is on disk
// within 30 s). Tests shorten it.
void SetSongDatabaseSaveDelayMs(int milliseconds);

}  // namespace vantaro
