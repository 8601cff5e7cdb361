// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

#include "fuzz/fuzzdesk.h"

#include "convert/samplecopy.h"
#include "wave/chunks.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QProgressDialog>

#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString g_listedName = QStringLiteral("listed");

/// The blocks that the combine keeps allocated on purpose: thousands of runs in one process would
/// end the memory. Those of its size that a run leaves behind are freed after it.
struct KeptBlocks
{
    std::array<const volatile void*, 64> pointers = {};
    size_t count = 0;
    bool isCounting = false;
};
KeptBlocks g_kept;

void blockAllocated(const volatile void* pointer, size_t size)
{
    if (g_kept.isCounting && size == size_t(g_blockBytes) && g_kept.count < g_kept.pointers.size())
        g_kept.pointers[g_kept.count++] = pointer;
}

void blockFreed(const volatile void* pointer)
{
    for (size_t i = 0; i < g_kept.count; ++i) {
        if (g_kept.pointers[i] == pointer) {
            g_kept.pointers[i] = g_kept.pointers[--g_kept.count];
            return;
        }
    }
}

void freeKeptBlocks()
{
    g_kept.isCounting = false;
    while (g_kept.count > 0)
        delete[] static_cast<const volatile char*>(g_kept.pointers[g_kept.count - 1]);
}

/// The bytes of a file, without the costs of a QFile: most of a run's time is spent on files.
QByteArray bytesOf(const QByteArray& path)
{
    QByteArray bytes;
    const int file = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return bytes;
    std::array<char, 65536> block;
    ssize_t count = 0;
    while ((count = ::read(file, block.data(), block.size())) > 0)
        bytes.append(block.data(), qsizetype(count));
    ::close(file);
    return bytes;
}

void writeBytes(const QByteArray& path, const QByteArray& bytes)
{
    const int file = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const bool isWritten = ::write(file, bytes.constData(), size_t(bytes.size())) == bytes.size();
    ::close(file);
    require(isWritten, "the directory of the fuzzer takes a file");
}

} // namespace

void require(bool holds, const char* promise)
{
    if (holds)
        return;
    std::fprintf(stderr, "This does not hold: %s.\n", promise);
    std::abort();
}

FuzzDesk::FuzzDesk()
    : m_dir(QDir::tempPath() + u"/splicora-fuzz-XXXXXX"_s)
{
    require(m_dir.isValid(), "there is a directory for the fuzzer");
    qApp->installEventFilter(this);
    require(__sanitizer_install_malloc_and_free_hooks(blockAllocated, blockFreed) != 0,
            "allocations can be followed");
}

QString FuzzDesk::path(const QString& name) const
{
    return m_dir.path() + u'/' + name;
}

void FuzzDesk::put(const QString& name, const QByteArray& bytes)
{
    write(name, bytes);
    m_files[name] = bytes;
}

void FuzzDesk::write(const QString& name, const QByteArray& bytes)
{
    writeBytes(QFile::encodeName(path(name)), bytes);
}

void FuzzDesk::putDirectory(const QString& name)
{
    QDir().mkdir(path(name));
}

QByteArray FuzzDesk::read(const QString& name) const
{
    return bytesOf(QFile::encodeName(path(name)));
}

bool FuzzDesk::exists(const QString& name) const
{
    return ::access(QFile::encodeName(path(name)).constData(), F_OK) == 0;
}

QStringList FuzzDesk::outputs() const
{
    QStringList names = QDir(m_dir.path()).entryList(QDir::Files);
    names.removeOne(g_listedName);
    names.removeIf([this](const QString& name) { return m_files.contains(name); });
    names.sort();
    return names;
}

bool FuzzDesk::list(const QByteArray& bytes, WavInfo* info)
{
    write(g_listedName, bytes);
    QFile file(path(g_listedName));
    *info = {};
    return openRegularFile(&file) && readWavInfo(&file, info);
}

int FuzzDesk::run(const Answers& answers, const std::function<int()>& convert)
{
    m_answers = answers;
    g_kept.isCounting = true;
    const int result = convert();
    freeKeptBlocks();
    for (auto file = m_files.cbegin(); file != m_files.cend(); ++file)
        require(read(file.key()) == file.value(), "a source is as it was");
    return result;
}

void FuzzDesk::clear()
{
    const QDir dir(m_dir.path());
    const QStringList names = dir.entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        const QByteArray encoded = QFile::encodeName(path(name));
        if (::unlink(encoded.constData()) != 0)
            ::rmdir(encoded.constData());
    }
    m_files.clear();
}

bool FuzzDesk::eventFilter(QObject* watched, QEvent* event)
{
    // Nobody looks: a dialog that is shown, but not on the screen, saves most of a run's time.
    if (event->type() == QEvent::Polish && qobject_cast<QDialog*>(watched))
        static_cast<QDialog*>(watched)->setAttribute(Qt::WA_DontShowOnScreen);
    if (event->type() != QEvent::Show)
        return false;
    if (auto* box = qobject_cast<QMessageBox*>(watched)) {
        const auto wanted = m_answers.overwrites ? QMessageBox::Yes : QMessageBox::Cancel;
        QMetaObject::invokeMethod(
            box,
            [box, wanted] {
                QAbstractButton* button = box->button(wanted);
                (button ? button : box->button(QMessageBox::Ok))->click();
            },
            Qt::QueuedConnection);
    } else if (auto* progress = qobject_cast<QProgressDialog*>(watched)) {
        if (m_answers.cancels)
            QMetaObject::invokeMethod(progress, &QProgressDialog::cancel, Qt::QueuedConnection);
    }
    return false;
}

FuzzDesk& fuzzDesk()
{
    static FuzzDesk desk;
    return desk;
}

void startFuzzing(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    QApplication::setStyle(u"windows"_s); // the one that draws least
    static QApplication application(*argc, *argv);
    fuzzDesk();
}
