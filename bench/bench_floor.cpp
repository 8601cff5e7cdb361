// SPDX-FileCopyrightText: 2026 VELMAR
// SPDX-License-Identifier: LicenseRef-VELMAR

// bench_floor split|combine|bare-split|bare-combine OUTPUT-DIR FILE...
// bench_floor list DIR
// The least that the same work costs: the same reads and writes in the same blocks and passes,
// without window, dialog or checks. The samples between them move in loops whose sample width the
// compiler knows; the bare ways do not move them at all, so that their files hold other samples.
// Prints CPU and wall seconds. Made for the files of bench.py, which have the chunks `bext`, `fmt `
// and `data` and no pad bytes.

#include "bench/usage.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr std::size_t g_blockBytes = 524288;
constexpr std::size_t g_listedBytes = 4096;
constexpr std::size_t g_tileBytes = 16384; // of output, which stays in the nearest cache

[[noreturn]] void fail(const std::string& what)
{
    std::perror(what.c_str());
    std::exit(1);
}

class File
{
public:
    File(const std::string& name, int flags)
        : m_name(name)
        , m_descriptor(open(name.c_str(), flags, 0666))
    {
        if (m_descriptor < 0)
            fail(m_name);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { close(m_descriptor); }

    std::size_t read(char* to, std::size_t size)
    {
        const ssize_t count = ::read(m_descriptor, to, size);
        if (count < 0)
            fail(m_name);
        return std::size_t(count);
    }

    void write(const char* from, std::size_t size)
    {
        if (::write(m_descriptor, from, size) != ssize_t(size))
            fail(m_name);
    }

private:
    std::string m_name;
    int m_descriptor;
};

template <typename Number>
Number numberAt(const std::vector<char>& bytes, std::size_t offset)
{
    Number number = 0;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

template <typename Number>
void setNumber(std::vector<char>* bytes, std::size_t offset, Number number)
{
    std::memcpy(bytes->data() + offset, &number, sizeof number);
}

/// Everything before the samples, and where its numbers stand.
struct Header
{
    std::vector<char> bytes;
    std::size_t fmtBody = 0;

    unsigned channels() const { return numberAt<std::uint16_t>(bytes, fmtBody + 2); }
    std::size_t frameBytes() const { return numberAt<std::uint16_t>(bytes, fmtBody + 12); }
    std::size_t dataBytes() const { return numberAt<std::uint32_t>(bytes, bytes.size() - 4); }

    /// The header of a file with @p channels channels and the same number of frames.
    /// @p chunkAccount is the amount that the chunks before `data` add to the RIFF size.
    Header withChannels(unsigned newChannels, std::size_t chunkAccount) const
    {
        Header header = *this;
        const std::size_t frame = frameBytes() / channels() * newChannels;
        const std::size_t data = dataBytes() / frameBytes() * frame;
        setNumber(&header.bytes, fmtBody + 2, std::uint16_t(newChannels));
        setNumber(&header.bytes, fmtBody + 8,
                  std::uint32_t(numberAt<std::uint32_t>(bytes, fmtBody + 4) * frame));
        setNumber(&header.bytes, fmtBody + 12, std::uint16_t(frame));
        setNumber(&header.bytes, bytes.size() - 4, std::uint32_t(data));
        setNumber(&header.bytes, 4, std::uint32_t(12 + chunkAccount + 8 + data));
        return header;
    }
};

Header readHeader(File& file)
{
    Header header;
    const auto append = [&](std::size_t size) {
        const std::size_t at = header.bytes.size();
        header.bytes.resize(at + size);
        if (file.read(header.bytes.data() + at, size) != size)
            fail("header");
        return at;
    };
    append(12);
    while (true) {
        const std::size_t chunk = append(8);
        const bool isFmt = std::memcmp(header.bytes.data() + chunk, "fmt ", 4) == 0;
        if (std::memcmp(header.bytes.data() + chunk, "data", 4) == 0)
            return header;
        const std::size_t body = append(numberAt<std::uint32_t>(header.bytes, chunk + 4));
        if (isFmt)
            header.fmtBody = body;
    }
}

/// Samples that are @p toStep and @p fromStep bytes apart.
using CopySamples = void (*)(char* to, std::size_t toStep, const char* from, std::size_t fromStep,
                             std::size_t count);

template <std::size_t Width>
void copySamples(char* to, std::size_t toStep, const char* from, std::size_t fromStep,
                 std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        std::memcpy(to + i * toStep, from + i * fromStep, Width);
}

void copyNothing(char*, std::size_t, const char*, std::size_t, std::size_t) { }

CopySamples copyOf(bool isBare, std::size_t sampleBytes)
{
    if (isBare)
        return copyNothing;
    switch (sampleBytes) {
    case 2:
        return copySamples<2>;
    case 3:
        return copySamples<3>;
    case 4:
        return copySamples<4>;
    default:
        fail("sample width");
    }
}

void splitChannel(const std::string& source, const std::string& target, unsigned channel,
                  bool isBare)
{
    File in(source, O_RDONLY);
    const Header header = readHeader(in);
    const std::size_t frameBytes = header.frameBytes();
    const std::size_t sampleBytes = frameBytes / header.channels();
    const CopySamples copy = copyOf(isBare, sampleBytes);
    File out(target, O_WRONLY | O_CREAT | O_TRUNC);
    const Header mono = header.withChannels(1, 2 * (8 + 4));
    out.write(mono.bytes.data(), mono.bytes.size());

    const std::size_t readSize = g_blockBytes - g_blockBytes % frameBytes;
    std::vector<char> input(g_blockBytes);
    std::vector<char> output(g_blockBytes / 2);
    for (std::size_t remaining = header.dataBytes(); remaining > 0;) {
        const std::size_t count = in.read(input.data(), std::min(remaining, readSize));
        if (count == 0)
            fail("short data");
        const std::size_t frames = count / frameBytes;
        copy(output.data(), sampleBytes, input.data() + channel * sampleBytes, frameBytes, frames);
        out.write(output.data(), frames * sampleBytes);
        remaining -= count;
    }
}

void split(const std::string& dir, const std::string& source, bool isBare)
{
    File file(source, O_RDONLY);
    const unsigned channels = readHeader(file).channels();
    const std::string stem = std::filesystem::path(source).stem();
    for (unsigned c = 0; c < channels; ++c) {
        const std::string target = dir + '/' + stem + "_0" + std::to_string(c + 1) + ".wav";
        splitChannel(source, target, c, isBare);
    }
}

void combine(const std::string& dir, const std::vector<std::string>& sources, bool isBare)
{
    std::vector<std::unique_ptr<File>> files;
    Header header;
    for (const std::string& source : sources) {
        files.push_back(std::make_unique<File>(source, O_RDONLY));
        header = readHeader(*files.back());
    }
    const std::size_t channels = files.size();
    const std::size_t sampleBytes = header.frameBytes();
    const std::size_t frameBytes = channels * sampleBytes;
    const std::size_t tileFrames = g_tileBytes / frameBytes;
    const CopySamples copy = copyOf(isBare, sampleBytes);
    std::string stem = std::filesystem::path(sources.front()).stem();
    stem.resize(stem.rfind('_'));
    File out(dir + '/' + stem + "_combined.wav", O_WRONLY | O_CREAT | O_TRUNC);
    const Header poly = header.withChannels(unsigned(channels), header.bytes.size() - 12 - 8);
    out.write(poly.bytes.data(), poly.bytes.size());

    const std::size_t readSize = g_blockBytes - g_blockBytes % sampleBytes;
    std::vector<std::vector<char>> inputs(channels, std::vector<char>(g_blockBytes));
    std::vector<char> output(channels * g_blockBytes);
    for (std::size_t remaining = header.dataBytes(); remaining > 0;) {
        std::size_t count = 0;
        for (std::size_t k = 0; k < channels; ++k)
            count = files[k]->read(inputs[k].data(), std::min(remaining, readSize));
        if (count == 0)
            fail("short data");
        const std::size_t frames = count / sampleBytes;
        for (std::size_t f = 0; f < frames; f += tileFrames) {
            for (std::size_t k = 0; k < channels; ++k) {
                copy(output.data() + f * frameBytes + k * sampleBytes, frameBytes,
                     inputs[k].data() + f * sampleBytes, sampleBytes,
                     std::min(tileFrames, frames - f));
            }
        }
        out.write(output.data(), count * channels);
        remaining -= count;
    }
}

void list(const std::string& dir)
{
    std::vector<char> bytes(g_listedBytes);
    for (const auto& entry : std::filesystem::directory_iterator(dir))
        File(entry.path(), O_RDONLY).read(bytes.data(), bytes.size());
}

} // namespace

int main(int argc, char* argv[])
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() < 2)
        fail("bench_floor split|combine|bare-split|bare-combine|list DIR [FILE...]");
    std::string way = arguments[0];
    const bool isBare = way.starts_with("bare-");
    if (isBare)
        way.erase(0, way.find('-') + 1);
    const Usage usage;
    if (way == "split")
        split(arguments[1], arguments.at(2), isBare);
    else if (way == "combine")
        combine(arguments[1], {arguments.begin() + 2, arguments.end()}, isBare);
    else
        list(arguments[1]);
    printUsage(usage);
}
