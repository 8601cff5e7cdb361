#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 VELMAR
# SPDX-License-Identifier: LicenseRef-VELMAR
"""Breaks the product on purpose, one small way at a time, and shows whether the tests notice.

Each entry of MUTANTS names a file, the words that stand in it exactly once, what they are replaced
with and the tests that are to notice, which have to pass without it. A mutant that keeps them busy
too long counts apart. All work happens in a copy below build/mutants. Ends with 1 when a mutant
survives. With arguments only the mutants whose file or words hold one of them run;
--check only looks whether the words of all mutants stand in the tree exactly once.
"""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutants"
TREE = WORK / "tree"
SECONDS_PER_MUTANT = 240
# A test function in which a mutant never ends fails after this time.
ENVIRONMENT = {**os.environ, "QTEST_FUNCTION_TIMEOUT": "60000"}  # milliseconds

MUTANTS = [
    # wave/
    ("wave/chunkreader.cpp", "            return spoiled(s);\n        if (part == 0)", "            return (void)s, done;\n        if (part == 0)", "failingmedia|chunkreader"),
    ("wave/chunkreader.cpp", "            return spoiled(s);\n        if (part == 0)", "            return done > 0 ? done : spoiled(s);\n        if (part == 0)", "failingmedia"),
    ("wave/chunkreader.cpp", "        done += part;\n", "        return part;\n", "failingmedia"),
    ("wave/chunkreader.cpp", "size <= g_largestCount", "size < g_largestCount", "chunkreader"),
    ("wave/chunkreader.cpp", "size >= 0 && ", "", "chunkreader"),
    ("wave/chunkreader.cpp", "QFileInfo(*file).isFile() && ", "", "chunkreader"),
    ("wave/chunkreader.cpp", "<= 31", "<= 32", "chunkreader"),
    ("wave/chunkreader.cpp", "static_cast<signed char>", "static_cast<unsigned char>", "chunkreader"),
    ("wave/chunkreader.cpp", "        offset += header.size;\n", "        offset += header.size + (header.size & 1);\n", "chunkreader"),
    ("wave/chunkreader.cpp", "        ChunkHeader header = {};\n", "        static ChunkHeader header;\n", "chunkreader"),
    ("wave/chunkreader.cpp", "    if (!device->seek(keptPosition))\n        spoiled(s);\n    return found;", "    return found;", "chunkreader"),
    ("wave/chunkreader.cpp", "    if (!device->seek(keptPosition))\n        spoiled(s);\n", "    device->seek(keptPosition);\n", "failingmedia"),
    ("wave/chunkreader.cpp", "    s.setStatus(QDataStream::ReadCorruptData);\n", "    Q_UNUSED(s)\n", "failingmedia"),
    ("wave/chunkreader.cpp", "!isId(riff.id, g_riffId) || ", "", "chunkreader|readwavinfo"),
    ("wave/chunkreader.cpp", "    file->seek(fmtOffset);\n", "", "readwavinfo"),
    ("wave/chunkreader.cpp", "findChunk(s, g_bextId, 0) > 0", "findChunk(s, g_bextId, 0) < 0", "readwavinfo"),
    ("wave/chunkreader.cpp", "point.chunkStart != 0 || ", "", "cuechunks"),
    ("wave/chunkreader.cpp", "    cue->points.clear();\n", "", "cuechunks"),
    ("wave/chunkwriter.cpp", "{330, 8}", "{331, 8}", "chunkwriter"),
    ("wave/chunkwriter.cpp", "g_bextBodySize = 858", "g_bextBodySize = 856", "chunkwriter"),
    ("wave/chunkwriter.cpp", "    const QTime time = QTime::currentTime();", "    static const QTime time = QTime::currentTime();", "chunkwriter"),
    ("wave/chunkwriter.cpp", "    if (!s.device()->seek(0))\n        return -1;\n", "", "chunkwriter"),
    ("wave/chunkwriter.cpp", "return s.status() == QDataStream::Ok ? bytes : -1", "return s.status() != QDataStream::ReadPastEnd ? bytes : -1", "chunkwriter|cuechunks"),
    ("wave/chunkwriter.cpp", "cue.pointCount > quint64(cue.points.size())", "cue.pointCount > quint64(cue.points.size()) + 1", "cuechunks"),
    ("wave/wavfileitem.cpp", "i < info.fmt.channels", "i <= info.fmt.channels", "wavfileitem"),
    ("wave/wavfileitem.cpp", "        && m_info.dataSize == other->dataSize()", "", "wavfileitem"),
    ("wave/wavfileitem.cpp", "m_info.riff.size == other->m_info.riff.size", "m_info.riff.size != 1", "wavfileitem"),
    ("wave/chunkreader.cpp", "            return spoiled(s);\n        if (part == 0)", "            return done > 0 ? -1 : spoiled(s);\n        if (part == 0)", "failingmedia"),
    ("wave/chunkwriter.cpp", "    const QDate date = QDate::currentDate();\n    const QTime time = QTime::currentTime();", "    const QTime time = QTime::currentTime();\n    const QDate date = QDate::currentDate();", "chunkwriter"),
    ("wave/chunkwriter.cpp", "    const QDate date = QDate::currentDate();", "    static const QDate date = QDate::currentDate();", "chunkwriter"),
    ("wave/wavfileitem.cpp", "m_info.riff.size == other->m_info.riff.size", "(m_info.riff.size + 1) / 2 == (other->m_info.riff.size + 1) / 2", "wavfileitem"),
    ("wave/wavfileitem.cpp", "m_info.dataSize == other->dataSize()", "(m_info.dataSize + 1) / 2 == (other->dataSize() + 1) / 2", "wavfileitem"),
    # convert/
    ("convert/wavconverter.cpp", "lastIndexOf(u'_') + 1, 2", "lastIndexOf(u'_') + 1, 3", "wavconverter"),
    ("convert/wavconverter.cpp", "2).toInt()", "2).toUInt()", "wavconverter"),
    ("convert/wavconverter.cpp", "m_outputDir = dir;", "m_outputDir = dir.trimmed();", "wavconverter"),
    ("convert/wavconverter.cpp", "QFileInfo(stem).fileName()", "QFileInfo(stem).completeBaseName()", "wavconverter"),
    ("convert/wavconverter.cpp", "    std::fill(buffer + count, buffer + size, '\\0');\n", "", "wavconverter"),
    ("ui/mainwindow_sources.cpp", "SIGNAL(itemSelectionChanged())", "SIGNAL(currentItemChanged(QTableWidgetItem*, QTableWidgetItem*))", "channelselection"),
    ("convert/outputfile.cpp", "answer != QMessageBox::Yes", "answer == QMessageBox::Cancel && false", "wavconverter"),
    ("convert/outputfile.cpp", "type != Type::not_found && FilesInWork::contains(fileName)", "false", "polytomono|monotopoly|faults"),
    ("convert/outputfile.cpp", "type == Type::none || type == Type::fifo", "type == Type::fifo", "failingmedia"),
    ("convert/outputfile.cpp", "areBothListed(dir, name, otherNames[i])", "(areBothListed(dir, name, otherNames[i]) && false)", "spellings"),
    ("convert/outputfile.cpp", "return error || isOnePath(", "return isOnePath(", "failingmedia"),
    ("convert/outputfile.cpp", "error || !isKnown || length", "error || (isKnown && false) || length", "failingmedia"),
    ("convert/outputfile.cpp", "    m_inWork.emplace(QStringList{fileName});\n", "", "convertcommand"),
    ("convert/outputfile.cpp", "        namesInWork().removeOne(name);\n", "        Q_UNUSED(name)\n", "polytomono|faults"),
    ("convert/outputfile.cpp", "namesInWork().removeOne(name)", "namesInWork().removeAll(name)", "faults"),
    ("convert/outputfile.cpp", "!m_file.flush() || !hasItsName()", "!m_file.flush()", "faults"),
    ("convert/outputfile.cpp", "return path.isEmpty() ?", "return path.isEmpty() || path.contains(u'/') ?", "failingmedia"),
    ("convert/outputfile.cpp", "ownLength != 0 || m_file.pos() == 0", "ownLength != 0", "failingmedia"),
    ("convert/outputfile.cpp", "length == std::uintmax_t(ownLength)", "length >= std::uintmax_t(ownLength)", "faults"),
    ("convert/outputfile.cpp", "    case Type::directory:\n", "", "faults"),
    ("convert/outputfile.cpp", "name.normalized(QString::NormalizationForm_C).toCaseFolded()", "name.toCaseFolded()", "spellings"),
    ("convert/outputfile.cpp", "QDir::AllEntries | QDir::Hidden | ", "QDir::AllEntries | ", "spellings"),
    ("convert/outputfile.cpp", "m_file.error() == QFileDevice::NoError", "true", "failingmedia"),
    ("convert/outputfile.cpp", "!m_file.isOpen() || hasItsName()", "true", "faults"),
    ("convert/outputfile.cpp", "return m_file.isSequential();", "return true;", "faults"),
    ("convert/outputfile.cpp", "QFile::decodeName(QFile::encodeName(fileName))", "fileName", "faults"),
    ("convert/polytomono.cpp", "    const FilesInWork sources(sourceNames());\n", "", "polytomono|faults"),
    ("convert/monotopoly.cpp", "sourceNames() + take.fileNames()", "sourceNames()", "monotopoly"),
    ("convert/plaintobwf.cpp", "    const FilesInWork sources(sourceNames());\n", "", "plaintobwf|faults"),
    ("convert/conversionpass.cpp", "m_dialog.setWindowModality(Qt::WindowModal)", "m_dialog.setWindowModality(Qt::NonModal)", "wavconverter"),
    ("convert/conversionpass.cpp", "    m_dialog.setWindowTitle(g_appName);\n", "", "wavconverter"),
    ("convert/conversionpass.cpp", "m_isClosed = true", "m_isClosed = false", "endlesssources"),
    ("convert/conversionpass.cpp", "parent && parent->window()->isVisible()", "parent", "polytomono"),
    ("convert/polytomono.cpp", "        if (pass.isAbandoned())\n            return ConvertCancelled;\n        ChunkHeader header = {};", "        ChunkHeader header = {};", "polytomono"),
    ("convert/polytomono.cpp", "    if (lastWindow.isClosed())\n        return ConvertCancelled;", "    if (lastWindow.isClosed() && false)\n        return ConvertCancelled;", "polytomono"),
    ("convert/conversionpass.cpp", "skipRaw(m_in, source.size)", "skipRaw(m_in, g_fmtBodySize)", "polytomono|monotopoly"),
    ("convert/conversionpass.cpp", "isId(header.id, g_bextId) ? header.size : ", "", "polytomono|monotopoly"),
    ("convert/conversionpass.cpp", "dialog.value() == bytes", "true", "polling"),
    ("convert/conversionpass.cpp", "    if (!m_out.device()->seek(g_riffSizeOffset))\n        return false;\n", "    m_out.device()->seek(g_riffSizeOffset);\n", "failingmedia|diskfull"),
    ("convert/conversionpass.cpp", "    if (isFmt)\n", "    if (isFmt && source.size > g_fmtBodySize)\n", "polytomono"),
    ("convert/polytomono.cpp", "g_countedBodyBytes = 4", "g_countedBodyBytes = 8", "polytomono"),
    ("convert/polytomono.cpp", "sampleBytes * (channel - 1)", "sampleBytes * channel", "polytomono"),
    ("convert/polytomono.cpp", "    if (fmt.blockAlign == 0)\n        return ConvertIllegalFormat;\n", "    if (fmt.blockAlign == 0)\n        return ConvertFileOpen;\n", "polytomono|wavconverter"),
    ("convert/polytomono.cpp", "isChannelEnabled(channel - 1)", "isChannelEnabled(channel)", "polytomono"),
    ("convert/polytomono.cpp", "    if (channelBytes(dataSize, layout.channels) & 1)", "    if (dataSize & 1)", "polytomono"),
    ("convert/polytomono.cpp", "        remaining -= quint32(count);\n", "        remaining -= quint32(readSize < remaining ? readSize : remaining);\n", "endlesssources"),
    ("convert/polytomono.cpp", "pass.sourceRiffSize() / fmt.channels", "pass.sourceRiffSize() / std::min<quint32>(fmt.channels, g_maxChannels)", "polytomono"),
    ("convert/monotopoly.cpp", "qint32(quint32(count) * riffSize) >= 0", "qint64(count) * riffSize <= 0x7FFFFFFF", "monotopoly"),
    ("convert/monotopoly.cpp", "file.seek(position) ?", "file.seek(position - position) ?", "monotopoly"),
    ("convert/monotopoly.cpp", "        position += count;\n", "", "monotopoly"),
    ("convert/monotopoly.cpp", "        if (error == ConvertFileRead)\n            return error;\n", "", "failingmedia"),
    ("convert/monotopoly.cpp", "fmt.byteRate *= quint32(channels)", "fmt.byteRate += quint32(channels)", "monotopoly"),
    ("convert/monotopoly.cpp", "        return ConvertFileWrite;", "        return ConvertDataWrite;", "monotopoly|diskfull"),
    ("convert/monotopoly.cpp", "    pass.showMaximum();\n    return pass.close() ? ConvertOk : ConvertDataWrite;", "    const bool isClosed = pass.close();\n    pass.showMaximum();\n    return isClosed ? ConvertOk : ConvertDataWrite;", "wavconverter"),
    ("convert/plaintobwf.cpp", "pass.countBody(header.size)", "pass.countBody(header.size + 1)", "plaintobwf"),
    ("convert/plaintobwf.cpp", "        if (copied != ConvertOk)\n            error = copied;", "        error = copied;", "plaintobwf"),
    ("convert/plaintobwf.cpp", "            reportError(ConvertDataWrite); // of this source alone", "            reportError(error = ConvertDataWrite);", "diskfull"),
    ("convert/samplecopy.h", "copySamplesOf<3>", "copySamplesOf<4>", "monotopoly|polytomono|properties"),
    ("convert/samplecopy.h", "g_blockBytes - g_blockBytes % blockAlign", "g_blockBytes - 0 * blockAlign", "monotopoly|polytomono"),
    ("convert/outputfile.cpp", ".toCaseFolded()", ".toLower()", "spellings"),
    ("convert/outputfile.cpp", "        namesInWork().removeOne(name);\n", "        namesInWork().removeOne(name == m_names.first() ? name : QString());\n", "faults"),
    ("convert/outputfile.cpp", "!m_file.isOpen() || hasItsName()", "m_file.isOpen() && hasItsName()", "failingmedia"),
    ("convert/wavconverter.cpp", "m_outputDir + u'/' + QFileInfo(stem).fileName()", "m_outputDir + (QFileInfo(stem).fileName().isEmpty() ? QString() : u'/' + QFileInfo(stem).fileName())", "wavconverter"),
    ("convert/conversionpass.cpp", "    m_dialog.setValue(int(m_runningSize));", "    m_dialog.setValue(m_dialog.maximum() > 0 && int(m_runningSize) > m_dialog.maximum() ? m_dialog.maximum() : int(m_runningSize));", "wavconverter"),
    ("convert/plaintobwf.cpp", "        reportError(error);\n        const bool isClosed = pass.close();", "        const bool isClosed = pass.close();\n        reportError(error);", "wavconverter"),
    ("convert/plaintobwf.cpp", "    while (!pass.atEnd()) {\n        pass.pumpEvents();\n", "    pass.pumpEvents();\n    while (!pass.atEnd()) {\n", "plaintobwf"),
    ("convert/plaintobwf.cpp", "        pass.showMaximum();", "        if (error == ConvertOk)\n            pass.showMaximum();", "plaintobwf"),
    ("convert/polytomono.cpp", "        pass.pumpEvents();\n        if (pass.isAbandoned())\n            return ConvertCancelled;\n        ChunkHeader", "        if (pass.isAbandoned())\n            return ConvertCancelled;\n        pass.pumpEvents();\n        ChunkHeader", "polytomono"),
    ("convert/polytomono.cpp", "        pass.pumpEvents();\n        if (pass.isAbandoned())\n            return ConvertCancelled;\n        const qint64", "        if (pass.isAbandoned())\n            return ConvertCancelled;\n        pass.pumpEvents();\n        const qint64", "polytomono"),
    ("convert/polytomono.cpp", "    const LastWindowWatch lastWindow(m_parent);\n    for (const CWavFileItem* item : m_sources) {\n", "    for (const CWavFileItem* item : m_sources) {\n        const LastWindowWatch lastWindow(m_parent);\n", "polytomono"),
    ("convert/polytomono.cpp", "channelBytes(dataSize, layout.channels) & 1", "(dataSize / readSize * (readSize / layout.channels) + dataSize % readSize / layout.channels) & 1", "polytomono"),
    ("convert/wavconverter.cpp", "        names.append(item->fileName());\n", "        if (item->isChannelEnabled(0))\n            names.append(item->fileName());\n", "polytomono"),
    ("convert/monotopoly.cpp", "    while (remaining != 0) {\n", "    while (remaining != 0) {\n        position = pass.sourcePosition();\n", "monotopoly"),
    ("convert/monotopoly.cpp", "const qint64 readSize = wholeFrameBytes(fmt.blockAlign)", "const qint64 readSize = wholeFrameBytes(quint16(layout.sampleBytes ? layout.sampleBytes : 1))", "monotopoly"),
    # ui/
    ("ui/mainwindow.cpp", "remaining > 0", "remaining > 5000", "columnfit"),
    ("ui/mainwindow.cpp", "g_logoWidth = 100", "g_logoWidth = 101", "mainwindow"),
    ("ui/mainwindow.cpp", "grid->addLayout(addColumn, 0, 1)", "grid->addLayout(addColumn, 1, 1)", "mainwindow"),
    ("ui/mainwindow.cpp", "    setSourceButtonsEnabled(false);\n", "", "mainwindow"),
    ("ui/mainwindow.cpp", "<< ' ';", ";", "nologo"),
    ("ui/mainwindow.cpp", "m_currentDirEdit, SIGNAL(returnPressed())", "m_currentDirEdit, SIGNAL(editingFinished())", "mainwindow"),
    ("ui/mainwindow_filelist.cpp", "value > 1024.0", "value >= 1024.0", "filelist"),
    ("ui/mainwindow_filelist.cpp", "info.fmt.channels > 1", "info.fmt.channels >= 1", "filelist"),
    ("ui/mainwindow_filelist.cpp", "    QGuiApplication::restoreOverrideCursor();\n", "", "filelist"),
    ("ui/mainwindow_filelist.cpp", "    if (!m_sourceItems.isEmpty())\n        removeAll();\n", "", "filelist"),
    ("ui/mainwindow_filelist.cpp", "QDir::Files, QDir::Name", "QDir::Files | QDir::Hidden, QDir::Name", "filelist"),
    ("ui/mainwindow_filelist.cpp", "{u\"*.wav\"_s}", "{u\"*.wav\"_s, u\"*.bwf\"_s}", "filelist"),
    ("ui/mainwindow_sources.cpp", "rows.size() + m_sourceItems.size() > g_maxSources", "rows.size() + m_sourceItems.size() >= g_maxSources", "sourcelist"),
    ("ui/mainwindow_sources.cpp", "isSameFormat(m_sourceItems.first())", "isSameFormat(m_sourceItems.last())", "sourcelist"),
    ("ui/mainwindow_sources.cpp", "rows.prepend(index.row())", "rows.append(index.row())", "sourcelist"),
    ("ui/mainwindow_sources.cpp", "Qt::Key_Return, Qt::Key_Enter", "Qt::Key_Return", "sourcelist"),
    ("ui/mainwindow_sources.cpp", "    pathCell->setToolTip(path);\n", "", "sourcelist"),
    ("ui/mainwindow_sources.cpp", "resize->size().width() != resize->oldSize().width()", "resize->size().width() < 0", "columnfit"),
    ("ui/mainwindow_sources.cpp", "watched->parent() == m_sourceTable && ", "false && ", "columnfit"),
    ("ui/mainwindow_channels.cpp", "canSplit && k < channels", "canSplit && k <= channels", "channelselection"),
    ("ui/mainwindow_channels.cpp", "state != Qt::Unchecked", "state == Qt::Unchecked", "channelselection"),
    ("ui/mainwindow_channels.cpp", "setCurrentChannelEnabled(6, state)", "setCurrentChannelEnabled(5, state)", "channelselection"),
    ("ui/mainwindow_convert.cpp", "m_currentDir.isNull()", "m_currentDir.isEmpty()", "convertcommand"),
    ("ui/mainwindow_convert.cpp", "u\"file:///\"_s", "u\"file://\"_s", "convertcommand"),
    ("ui/mainwindow_convert.cpp", "        outDir = m_currentDirEdit->text();\n", "", "convertcommand"),
    ("ui/mainwindow_convert.cpp", "    edit->setCursorPosition(0);\n", "", "convertcommand"),
    ("ui/filetable.cpp", "    header->setHighlightSections(false);\n", "", "mainwindow"),
    ("ui/filetable.cpp", "    header->resizeSection(header->count() - 1, header->minimumSectionSize());\n", "", "columnfit"),
    ("ui/filetable.cpp", "Qt::AlignRight | Qt::AlignVCenter", "Qt::AlignRight", "filelist|sourcelist"),
    ("ui/filetable.cpp", "    header->setHighlightSections(false);\n", "    header->setHighlightSections(false);\n    header->setSectionsMovable(true);\n", "mainwindow"),
    ("ui/filetable.cpp", "    header->setHighlightSections(false);\n", "    header->setHighlightSections(false);\n    header->setResizeContentsPrecision(0);\n", "mainwindow"),
    ("ui/filetable.cpp", "    table->setTabKeyNavigation(false);\n", "    table->setTabKeyNavigation(false);\n    table->setDragDropMode(QAbstractItemView::InternalMove);\n", "mainwindow"),
    ("ui/filetable.cpp", "    table->setTabKeyNavigation(false);\n", "    table->setTabKeyNavigation(false);\n    table->setWordWrap(false);\n", "mainwindow"),
    ("ui/mainwindow.cpp", "    m_removeAllButton = new QPushButton", "    m_removeButton->setAutoRepeat(true);\n    m_removeAllButton = new QPushButton", "mainwindow"),
    ("ui/mainwindow.cpp", "        return;\n    }\n    m_logoLabel->setPixmap", "    }\n    m_logoLabel->setPixmap", "nologo"),
    ("ui/mainwindow.cpp", "connect(m_addButton, SIGNAL(clicked())", "connect(m_addButton, SIGNAL(pressed())", "convertcommand"),
    ("ui/mainwindow.cpp", "connect(m_removeAllButton, SIGNAL(clicked())", "connect(m_removeAllButton, SIGNAL(released())", "convertcommand"),
    ("ui/mainwindow.cpp", "connect(m_outputDirBrowseButton, SIGNAL(clicked())", "connect(m_outputDirBrowseButton, SIGNAL(released())", "convertcommand"),
    ("ui/mainwindow.cpp", "    connect(m_functionCombo, ", "    connect(m_functionCombo, SIGNAL(activated(int)), this, SLOT(showFileList()));\n    connect(m_functionCombo, ", "sourcelist"),
    ("ui/mainwindow_convert.cpp", "    m_currentDir = dir;\n", "    if (dir == m_currentDir)\n        return;\n    m_currentDir = dir;\n", "convertcommand"),
    ("ui/mainwindow_sources.cpp", "    m_sourceTable->setRowCount(0);\n", "    m_sourceTable->setRowCount(0);\n    fitSourceTable();\n", "sourcelist"),
    ("ui/mainwindow_sources.cpp", "break; // The directory", "continue; // The directory", "sourcelist"),
    ("ui/mainwindow_filelist.cpp", "    fitFileListTable();\n    if (!m_source", "    fitFileListTable();\n    m_fileListTable->selectRow(0);\n    if (!m_source", "mainwindow"),
    ("ui/mainwindow_filelist.cpp", "    fitFileListTable();\n    if (!m_source", "    fitFileListTable();\n    m_fileListTable->setFocus();\n    if (!m_source", "mainwindow"),
    ("ui/mainwindow_filelist.cpp", "    fitFileListTable();\n    if (!m_source", "    fitFileListTable();\n    m_fileListTable->scrollToBottom();\n    if (!m_source", "columnfit"),
    ("ui/mainwindow_filelist.cpp", "unreadable.join(", "unreadable.mid(0, 20).join(", "filelist"),
    ("ui/mainwindow_sources.cpp", "    fitSourceTable();\n}\n\n/// Adds", "    fitSourceTable();\n    m_sourceTable->scrollToBottom();\n}\n\n/// Adds", "columnfit"),
    ("ui/mainwindow.cpp", "u\"hh:mm:ss \"", "u\"h:mm:ss \"", "nologo"),
    ("ui/mainwindow.cpp", "u\"yyyy-MM-dd \"", "u\"yyyy-M-dd \"", "nologo"),
    ("ui/mainwindow.cpp", "    if (logo.isNull()) {\n", "    m_logoLabel->setAccessibleName(u\"VELMAR\"_s);\n    if (logo.isNull()) {\n", "nologo"),
    ("ui/mainwindow_convert.cpp", "    if (dir.isEmpty())\n        return;\n    m_currentDir = dir;\n", "    m_currentDir = dir;\n    if (dir.isEmpty())\n        return;\n", "convertcommand"),
    ("ui/mainwindow_convert.cpp", "    edit->setCursorPosition(0);\n", "    edit->home(true);\n", "convertcommand"),
    ("ui/mainwindow_filelist.cpp", "    if (!dir.exists()) {\n", "    if (!dir.exists()) {\n        m_currentDir = QString();\n", "convertcommand"),
    ("ui/mainwindow_filelist.cpp", "    if (names.isEmpty()) {\n", "    if (names.isEmpty()) {\n        m_currentDir = QString();\n", "convertcommand"),
    ("ui/mainwindow_filelist.cpp",
     "    m_fileListTable->setRowCount(0);\n    m_fileListTable->clearContents();\n    m_fileItems.clear();\n\n    const QDir dir(m_currentDir);\n"
     "    if (!dir.exists()) {\n        QMessageBox::information(this, g_appName, tr(\"The directory does not exist.\"),\n"
     "                                 QMessageBox::Ok, QMessageBox::NoButton);\n        return;\n    }\n",
     "    const QDir dir(m_currentDir);\n    if (!dir.exists()) {\n        QMessageBox::information(this, g_appName, tr(\"The directory does not exist.\"),\n"
     "                                 QMessageBox::Ok, QMessageBox::NoButton);\n        m_fileListTable->setRowCount(0);\n        return;\n    }\n"
     "    m_fileListTable->setRowCount(0);\n    m_fileListTable->clearContents();\n    m_fileItems.clear();\n",
     "filelist"),
    ("ui/mainwindow_filelist.cpp", "    setAddButtonsEnabled(true);\n", "    const auto later = qScopeGuard([this] { setAddButtonsEnabled(true); });\n", "filelist"),
    ("ui/mainwindow_filelist.cpp", "    fitFileListTable();\n    if (!m_source", "    const auto later = qScopeGuard([this] { fitFileListTable(); });\n    if (!m_source", "filelist"),
    ("ui/mainwindow_sources.cpp", "        m_sourceItems.append(item);\n", "        m_sourceItems.append(item);\n        setSourceButtonsEnabled(true);\n", "sourcelist"),
    ("ui/mainwindow_sources.cpp", "fmt = item.fmtChunk()", "fmt = (void(item), pathItem).fmtChunk()", "sourcelist"),
    # app/
    ("app/apptexts.h", "\"Splicora\"", "\"splicora\"", "mainwindow"),
    ("app/apptexts.h", "\"1.00\"", "\"1.0\"", "mainwindow"),
    ("app/main.cpp", "    window.show();\n", "", "accessibility"),
    ("app/main.cpp", "    QApplication app(argc, argv);\n", "    int noArguments = 1;\n    QApplication app(noArguments, argv);\n", "accessibility"),
    ("app/main.cpp", "    CMainWindow window;\n", "    app.setApplicationDisplayName(QStringLiteral(\"Splicora\"));\n    CMainWindow window;\n", "endtoend"),
    ("app/main.cpp", "    CMainWindow window;\n", "    app.setApplicationName(QStringLiteral(\"Splicora\"));\n    CMainWindow window;\n", "accessibility"),
    ("app/main.cpp", "#include <QApplication>\n\nint main(int argc, char* argv[])\n{\n    QApplication app(argc, argv);\n", "#include <QApplication>\n#include <QDir>\n\nint main(int argc, char* argv[])\n{\n    QApplication app(argc, argv);\n    QDir::setCurrent(QDir::homePath());\n", "accessibility"),
    ("app/main.cpp", "#include <QApplication>\n\nint main(int argc, char* argv[])\n{\n    QApplication app(argc, argv);\n", "#include <QApplication>\n#include <QCommandLineParser>\n\nint main(int argc, char* argv[])\n{\n    QApplication app(argc, argv);\n    QCommandLineParser parser;\n    parser.addHelpOption();\n    parser.process(app);\n", "accessibility"),
]


def run(command, timeout=None):
    """The command's result, or None when it was ended after `timeout` seconds."""
    with subprocess.Popen(command, cwd=TREE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, start_new_session=True, env=ENVIRONMENT) as process:
        try:
            output, _ = process.communicate(timeout=timeout)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)  # and the tests that it started
            return None
        return subprocess.CompletedProcess(command, process.returncode, output)


def copy_tree():
    files = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True,
                           stdout=subprocess.PIPE).stdout.decode().split("\0")
    shutil.rmtree(TREE, ignore_errors=True)
    for name in filter(None, files):
        target = TREE / name
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(ROOT / name, target)


def tests_of(pattern):
    """The names of the tests that are to notice a mutant."""
    listed = run(["ctest", "--preset", "dev", "--show-only=json-v1", "--tests-regex", pattern])
    names = [test["name"] for test in json.loads(listed.stdout)["tests"]]
    if not names:
        sys.exit(f"No test is called {pattern!r}.")
    return names


def build(pattern):
    """Builds what these tests run, which is more than a program of their name for some."""
    programs = {name.partition(".")[0] for name in tests_of(pattern)}
    targets = programs if all(name.startswith("tst_") for name in programs) else {"all"}
    return run(["cmake", "--build", "--preset", "dev", "--target", *sorted(targets)])


def test(pattern):
    return run(["ctest", "--preset", "dev", "--stop-on-failure", "--no-tests=error",
                "--tests-regex", pattern], timeout=SECONDS_PER_MUTANT)


def outcome(pattern):
    """What became of the mutant that is in the tree."""
    if build(pattern).returncode != 0:
        return "does not build"
    result = test(pattern)
    if result is None:
        return "out of time"  # for ever, or a slow machine
    return "survived" if result.returncode == 0 else "noticed"


def check():
    """Names the mutants whose words do not stand in their file exactly once."""
    lost = [f"{name} does not hold these words exactly once: {old!r}"
            for name, old, _, _ in MUTANTS if (ROOT / name).read_text().count(old) != 1]
    sys.exit("\n".join(lost) or 0)


def main():
    if sys.argv[1:] == ["--check"]:
        check()
    wanted = [m for m in MUTANTS
              if not sys.argv[1:] or any(word in m[0] + m[1] for word in sys.argv[1:])]
    copy_tree()
    configured = run(["cmake", "--preset", "dev"])
    if configured.returncode != 0:
        sys.exit(configured.stdout)
    for pattern in sorted({tests for _, _, _, tests in wanted}):
        built = build(pattern)
        if built.returncode != 0:
            sys.exit("The product does not build as it is:\n" + built.stdout)
        result = test(pattern)
        if not result or result.returncode != 0:
            sys.exit(f"The tests {pattern!r} fail without a mutant.\n{result and result.stdout}")

    outcomes = {}
    for number, (name, old, new, tests) in enumerate(wanted, 1):
        path = TREE / name
        source = path.read_text()
        if source.count(old) != 1:
            sys.exit(f"{name} does not hold these words exactly once: {old!r}")
        path.write_text(source.replace(old, new))
        result = outcome(tests)
        path.write_text(source)
        outcomes.setdefault(result, []).append((name, old))
        print(f"{number:3}/{len(wanted)} {result:14} {name}: {old.strip()!r} -> {new.strip()!r}",
              flush=True)

    print(", ".join(f"{len(found)} {result}" for result, found in sorted(outcomes.items())))
    sys.exit(not set(outcomes) <= {"noticed", "out of time"})


if __name__ == "__main__":
    main()
