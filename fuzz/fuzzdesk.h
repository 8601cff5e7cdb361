// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "wave/wavrecords.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QObject>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>

/// Ends the process with a finding unless @p holds.
void require(bool holds, const char* promise);

/// The desk of the conversions under fuzzing: a directory, best in memory (TMPDIR), and somebody
/// who answers the dialogs.
class FuzzDesk : public QObject
{
public:
    /// Which button the overwrite boxes get, and whether the progress dialog is cancelled as soon
    /// as it shows.
    struct Answers
    {
        bool overwrites = true;
        bool cancels = false;
    };

    FuzzDesk();

    QString path(const QString& name) const;

    /// Puts a file on the desk that nobody may change.
    void put(const QString& name, const QByteArray& bytes);

    /// Writes a file that may be changed.
    void write(const QString& name, const QByteArray& bytes);

    /// Puts an empty directory on the desk.
    void putDirectory(const QString& name);

    /// The bytes of a file on the desk, none if there is no such file.
    QByteArray read(const QString& name) const;
    bool exists(const QString& name) const;

    /// The names of the files that nobody put here, sorted.
    QStringList outputs() const;

    /// The header of a file of these bytes, read as the file browser does. False when it is not
    /// readable.
    bool list(const QByteArray& bytes, WavInfo* info);

    /// Runs @p convert with these answers, sees to it that every file put here is as it was, and
    /// returns the result. The desk keeps what was written until it is cleared.
    int run(const Answers& answers, const std::function<int()>& convert);

    /// Removes every file.
    void clear();

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QTemporaryDir m_dir;
    QMap<QString, QByteArray> m_files;
    Answers m_answers;
};

/// The one desk of a process. It needs the application object.
FuzzDesk& fuzzDesk();

/// Makes the application object of a process, for LLVMFuzzerInitialize.
void startFuzzing(int* argc, char*** argv);
