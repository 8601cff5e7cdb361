// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#pragma once

#include "convert/wavconverter.h"
#include "tests/support/messageboxanswer.h"
#include "tests/support/texts.h"
#include "wave/chunks.h"
#include "wave/wavfileitem.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

/// @file
/// Runs conversions over real files as the window does: items with parsed headers, planned answers.

/// An item as a listing makes it, null when the header cannot be read.
inline std::unique_ptr<CWavFileItem> itemOf(const QString& path)
{
    QFile file(path);
    WavInfo info = {};
    if (!file.open(QIODevice::ReadOnly) || !readWavInfo(&file, &info))
        return nullptr;
    return std::make_unique<CWavFileItem>(path, info);
}

/// The header of a mono file of 16 bits, as a listing reads it.
inline WavInfo monoInfo()
{
    WavInfo info = {};
    info.fmt.channels = 1;
    info.fmt.blockAlign = 2;
    info.fmt.bitsPerSample = 16;
    return info;
}

/// The items of a request; they outlive it.
class Sources
{
public:
    Sources() = default;
    explicit Sources(const QStringList& paths)
    {
        for (const QString& path : paths)
            add(path);
    }

    /// Fails the test, through qFatal, when the file has no readable header.
    CWavFileItem* add(const QString& path)
    {
        auto item = itemOf(path);
        if (!item)
            qFatal("\"%s\" is not a readable WAV file.", qPrintable(path));
        return add(std::move(item));
    }

    CWavFileItem* add(std::unique_ptr<CWavFileItem> item)
    {
        m_items.push_back(std::move(item));
        return m_items.back().get();
    }

    /// An item whose header was read as @p info, whatever became of its file since.
    CWavFileItem* add(const QString& path, const WavInfo& info)
    {
        return add(std::make_unique<CWavFileItem>(path, info));
    }

    CWavFileItem* at(size_t index) const { return m_items.at(index).get(); }

    QList<CWavFileItem*> list() const
    {
        QList<CWavFileItem*> items;
        for (const auto& item : m_items)
            items.append(item.get());
        return items;
    }

private:
    std::vector<std::unique_ptr<CWavFileItem>> m_items;
};

/// What a request can do.
enum class Conversion { Split, Combine, PlainToBwf };

/// All of them, with the words that stand for them in the names of rows.
constexpr std::pair<Conversion, const char*> g_conversions[] = {
    {Conversion::Split, "split"},
    {Conversion::Combine, "combine"},
    {Conversion::PlainToBwf, "plain copy"},
};

/// A row for each conversion.
inline void addConversionRows()
{
    QTest::addColumn<Conversion>("conversion");
    for (const auto& [conversion, name] : g_conversions)
        QTest::newRow(name) << conversion;
}

/// What a conversion of take.wav, or a combine of take_01.wav and others, writes.
inline QStringList outputNames(Conversion conversion)
{
    switch (conversion) {
    case Conversion::Split:
        return {QStringLiteral("take_01.wav"), QStringLiteral("take_02.wav")};
    case Conversion::Combine:
        return {QStringLiteral("take_combined.wav")};
    case Conversion::PlainToBwf:
        break;
    }
    return {QStringLiteral("take_bwf.wav")};
}

/// Converts, and returns the result. A plain copy returns none, which counts as success.
inline int convert(CWavConverter& converter, Conversion conversion)
{
    switch (conversion) {
    case Conversion::Split:
        return converter.polyToMono();
    case Conversion::Combine:
        return converter.monoToPoly();
    case Conversion::PlainToBwf:
        break;
    }
    converter.plainToBwf();
    return ConvertOk;
}

/// The conversion that scripts call by this name.
inline Conversion conversionNamed(const QString& name)
{
    return name == QStringLiteral("split")     ? Conversion::Split
           : name == QStringLiteral("combine") ? Conversion::Combine
                                               : Conversion::PlainToBwf;
}

/// The text of the question about an output that is there. The combine leaves a line free.
inline QString overwriteQuestion(const QString& name, Conversion conversion = Conversion::Split)
{
    const QString free = conversion == Conversion::Combine ? QStringLiteral("\n") : QString();
    return g_outputExists + free + name + g_overwrite;
}

/// What a conversion returned and which boxes a person saw.
struct ConversionRun
{
    int result = 0;
    QList<SeenBox> boxes;

    QStringList texts() const
    {
        QStringList texts;
        for (const SeenBox& box : boxes)
            texts.append(box.text);
        return texts;
    }
};

/// Runs @p convert while the boxes get the planned @p answers.
inline ConversionRun runAnswered(const QList<QMessageBox::StandardButton>& answers,
                                 const std::function<int()>& convert)
{
    MessageBoxAnswer answer(answers);
    const int result = convert();
    return {result, answer.boxes()};
}

/// Converts @p sources, next to them or into @p outputDir, while the boxes get the planned @p
/// answers.
inline ConversionRun runConversion(Conversion conversion, const Sources& sources,
                                   const QList<QMessageBox::StandardButton>& answers = {},
                                   const QString& outputDir = {})
{
    CWavConverter converter(nullptr, sources.list());
    converter.setOutputDirectory(outputDir);
    return runAnswered(answers, [&] { return convert(converter, conversion); });
}
