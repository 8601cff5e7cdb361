// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "wave/wavrecords.h"

#include <QByteArray>
#include <QtGlobal>

class QDataStream;
class QDate;
class QFile;
class QTime;

/// @file
/// The chunk library: readers and writers of RIFF/WAVE chunks. Every stream is little-endian and
/// its device is the open file. Raw reads and skips use the device and set the stream's status only
/// when the device fails. Number reads set it when they are cut short. Once set it stays, so later
/// readers fail.

// Files and raw access (chunkreader.cpp)

/// Opens @p file for reading if it is a regular file or a link to one: a pipe would never answer.
/// False, with the file closed, for anything else and when it cannot be opened.
bool openRegularFile(QFile* file);

/// Reads @p size bytes into @p buffer, or the bytes available up to the end. Returns their number,
/// -1 on failure or when @p size is 2^31 or more.
qint64 readRaw(QDataStream& s, char* buffer, qint64 size);

/// Moves @p size bytes ahead, at most to the end of the file. Returns the bytes moved; -1 on
/// failure or, without moving, when @p size is 2^31 or more.
qint64 skipRaw(QDataStream& s, qint64 size);

/// True at the end of the file. False once the stream's status is set: the next header read then
/// reports the failure.
bool isAtEnd(const QDataStream& s);

/// True when the four characters of @p id are those of @p wanted.
bool isId(const char id[4], const char wanted[4]);

// Readers (chunkreader.cpp)

/// Checks for a RIFF header of form type WAVE at the start of the file and stores the RIFF size in
/// bytes, 0 on failure. On success the stream is after the header, at byte 12.
bool checkRiffWave(QDataStream& s, quint32* riffSize);

/// Searches for the first chunk named @p id, reading from byte @p from of the file. Returns the
/// offset of its body in bytes, counted from @p from, and stores the body's size; -1 when there is
/// none and when @p from is negative. Keeps the position, unless @p from or that position cannot
/// be reached.
qint64 findChunk(QDataStream& s, const char id[4], qint64 from, quint32* size);

/// The same, for callers that do not need the size.
qint64 findChunk(QDataStream& s, const char id[4], qint64 from);

/// Reads the 8 bytes of a chunk header at the stream's position. False when they are not all there
/// or could not be read, and from then on.
bool readChunkHeader(QDataStream& s, ChunkHeader* h);

/// True when each of the @p length bytes lies in 32 to 127.
bool isPrintableId(const char* id, uint length);

/// Parses the header of @p file, which is open for reading, into @p info. Only the RIFF size, the
/// `fmt ` body, the data size and the presence of a `bext` chunk are filled. Nothing but the reach
/// of the chunks is checked: formats and sizes are taken as stored. False when the file is not
/// RIFF/WAVE, has no 16 bytes after a `fmt ` header or no `data` within reach; @p info then holds
/// what was read until there.
bool readWavInfo(QFile* file, WavInfo* info);

/// Reads the body of a cue chunk, whose header the caller has read. Accepts only points of plain
/// data, without playlist or wave list. After a failure @p cue holds the points before it.
bool readCueChunk(QDataStream& s, CueChunk* cue);

// Writers (chunkwriter.cpp): each returns the bytes it wrote, or -1.

/// Writes the RIFF header with @p riffSize (bytes) at the start of the file: 12 bytes, wherever
/// the stream was before.
qint64 writeRiffHeader(QDataStream& s, quint32 riffSize);

/// Writes 8 bytes at the stream's position.
qint64 writeChunkHeader(QDataStream& s, const ChunkHeader& h);

/// Writes the 16 bytes of a `fmt ` body, without its header.
qint64 writeFmtBody(QDataStream& s, const FmtChunk& f);

/// Writes a whole generated `bext` chunk, header included: 866 bytes.
qint64 writeBextChunk(QDataStream& s);

/// The body of a generated `bext` chunk, 858 bytes: the fixed part of the Broadcast Wave extension
/// (EBU Tech 3285, version 0) and 256 zero bytes of coding history.
QByteArray bextBody(const QDate& date, const QTime& time);

/// Writes the body of a cue chunk, without its header: 4 + 24 x pointCount bytes. Fails, with
/// nothing written, when @p cue holds fewer points than it counts.
qint64 writeCueChunk(QDataStream& s, const CueChunk& cue);
