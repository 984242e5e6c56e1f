// The recording file on its own: what the writer puts in it, what the reader
// refuses (one error with the line), a full disk, and a report in words.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "recording/hidrec.h"

namespace {

struct TempDir {
    std::string dir;
    TempDir() { char t[] = "/tmp/recording-file.XXXXXX"; dir = mkdtemp(t); }
    ~TempDir() { std::system(("rm -rf " + dir).c_str()); }
    std::string path(const std::string &name) const { return dir + "/" + name; }
    std::string write(const std::string &name, const std::string &text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }
};

std::string slurp(const std::string &path)
{
    std::ifstream f(path, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

const std::string kHeader = "R: 3 06 00 ff\nN: pad\nI: 3 5e1b 8420\n";

TEST(RecordingWriter, WritesTheHidRecorderLines)
{
    TempDir d;
    hidrec::Header h;
    h.name = "Tavrel\nKV-C1";  // a name stays on its line
    h.pid = 0x8420;
    h.descriptor = {0x06, 0x00, 0xff};
    hidrec::Writer w;
    std::string error;
    ASSERT_TRUE(w.open(d.path("a.hid"), h, &error)) << error;
    const uint8_t r1[] = {0x02, 0xa1, 0x0a};
    const uint8_t r2[] = {0xff};
    ASSERT_TRUE(w.add(0, r1, 3, "first", &error));
    ASSERT_TRUE(w.add(1234567, r2, 1, "two\nlines", &error));
    ASSERT_TRUE(w.add(1000, r2, 1, "clock stepped back", &error));  // held at the last time
    EXPECT_FALSE(std::ifstream(d.path("a.hid")).good());  // nothing under the name before finish
    ASSERT_TRUE(w.finish(&error)) << error;
    // Written out by hand from the format: seconds and microseconds with six
    // digits each, decimal length, lower-case two-digit hex.
    EXPECT_EQ(slurp(d.path("a.hid")),
              "# Tavrel KV-C1\n# 0x06, 0x00, 0xff,\n#\n"
              "R: 3 06 00 ff\nN: Tavrel KV-C1\nI: 3 5e1b 8420\n"
              "# first\nE: 000000.000000 3 02 a1 0a\n"
              "# two lines\nE: 000001.234567 1 ff\n"
              "# clock stepped back\nE: 000001.234567 1 ff\n");
}

TEST(RecordingWriter, FullDiskKeepsWholeLinesOnly)
{
    // A file size limit in a child process stands in for a full disk: the
    // writes fail the same way, without filling a real one.
    TempDir d;
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit lim{5000, 5000};
        setrlimit(RLIMIT_FSIZE, &lim);
        hidrec::Header h;
        h.pid = 0x8420;
        h.descriptor = {0x06, 0x00, 0xff};
        hidrec::Writer w;
        std::string error;
        if (!w.open(d.path("full.hid"), h, &error))
            _exit(10);
        const uint8_t r[8] = {2, 0xa1, 1, 2, 3, 4, 5, 6};
        size_t i = 0;
        while (w.add(i * 1000, r, 8, "a report", &error) && i < 100000)
            ++i;
        const bool finished = w.finish(&error);
        _exit(w.diskFull() && !finished && error.find("disk is full") != std::string::npos ? 0 : 11);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    const std::string text = slurp(d.path("full.hid"));
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '\n');
    hidrec::Header h;
    std::vector<hidrec::Event> events;
    hidrec::Error e;
    ASSERT_TRUE(hidrec::readFile(d.path("full.hid"), &h, &events, &e)) << e.message();
    EXPECT_GT(events.size(), 10u);
    EXPECT_LE(text.size(), 5000u);
}

TEST(RecordingReader, ReadsTimesRelativeToTheFirstReport)
{
    TempDir d;
    const std::string f = d.write("ok.hid", std::string("# c\n") + kHeader +
                                                "P: usb-1\nE: 000002.500000 2 0a FF\r\nE: 000003.000001 1 00\n");
    hidrec::Header h;
    std::vector<hidrec::Event> ev;
    hidrec::Error e;
    ASSERT_TRUE(hidrec::readFile(f, &h, &ev, &e)) << e.message();
    EXPECT_EQ(h.pid, 0x8420);
    EXPECT_EQ(h.name, "pad");
    EXPECT_EQ(h.descriptor, (std::vector<uint8_t>{0x06, 0x00, 0xff}));
    ASSERT_EQ(ev.size(), 2u);
    EXPECT_EQ(ev[0].usec, 0u);
    EXPECT_EQ(ev[1].usec, 500001u);
    EXPECT_EQ(ev[0].bytes, (std::vector<uint8_t>{0x0a, 0xff}));
    EXPECT_EQ(ev[1].line, 7u);
}

TEST(RecordingReader, EachBadFileGetsOneErrorWithItsLine)
{
    const std::string E = "E: 000000.000000 ";
    struct Case {
        const char *name;
        std::string text;
        size_t line;
        const char *what;
    } cases[] = {
        {"empty", "", 1, "no header: no R: and I: line"},
        {"report before header", "# x\nR: 1 06\n" + E + "1 00\n", 3, "no header: a report before the I: line"},
        {"length disagrees", kHeader + E + "8 02 a1 00\n", 4, "length field says 8 bytes, the line has 3"},
        {"more bytes than length", kHeader + E + "1 02 a1\n", 4, "length field says 1 bytes, the line has more"},
        {"descriptor length", std::string("R: 4 06 00 ff\nI: 3 5e1b 8420\n"), 1, "length field says 4 bytes, the line has 3"},
        {"hex that isn't", kHeader + E + "2 02 g1\n", 4, "byte 2 is not two hex digits: \"g1\""},
        {"single hex digit", kHeader + E + "2 02 1\n", 4, "byte 2 is not two hex digits: \"1\""},
        {"time backwards", kHeader + "E: 000001.000000 1 00\nE: 000000.999999 1 00\n", 5,
         "time goes backwards: 0.999999 after 1.000000"},
        {"short microseconds", kHeader + "E: 000000.5 1 00\n", 4, "time needs six digits of microseconds: \"000000.5\""},
        {"unknown product", std::string("R: 1 06\nI: 3 5e1b 1234\n"), 2, "product id 1234 is not one of the sixteen tablets"},
        {"product not hex", std::string("R: 1 06\nI: 3 5e1b 84z0\n"), 2, "product id is not a hex number up to ffff: \"84z0\""},
        {"other vendor", std::string("R: 1 06\nI: 3 046d 8420\n"), 2, "vendor id 046d is not a tablet's (5e1b)"},
        {"second device", kHeader + "D: 1\n", 4, "recordings of more than one device are not supported"},
        {"report too long", kHeader + E + "65\n", 4,
         "report length 65 is outside 1 to 64"},
    };
    TempDir d;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const std::string f = d.write("bad.hid", c.text);
        hidrec::Error e;
        std::vector<hidrec::Event> ev;
        EXPECT_FALSE(hidrec::readFile(f, nullptr, &ev, &e));
        EXPECT_EQ(e.message(), f + ":" + std::to_string(c.line) + ": " + c.what);
    }
}

TEST(RecordingReader, RefusesAHugeLineWithoutReadingItAll)
{
    // 100 MB without a line end (a sparse file: no disk used). Refused at
    // the first line; the reader stops after its bound.
    TempDir d;
    const std::string f = d.path("huge.hid");
    FILE *fp = std::fopen(f.c_str(), "w");
    ASSERT_EQ(ftruncate(fileno(fp), 100 << 20), 0);
    std::fclose(fp);
    hidrec::Error e;
    EXPECT_FALSE(hidrec::readFile(f, nullptr, nullptr, &e));
    EXPECT_EQ(e.message(), f + ":1: line longer than 16384 bytes");
}

TEST(RecordingDescribe, OneReportInWords)
{
    // Hand-decoded: KV-C1 word A 0x1010 = 4112 is X, word B 0x1000 = 4096
    // less the floor 955 is Y 3141, raw 0x200 = 512 -> 512/1024*0.6 = 0.3.
    const uint8_t c1[8] = {0x02, 0xa1, 0x10, 0x10, 0x00, 0x10, 0x00, 0x02};
    const uint8_t lift[8] = {0x02, 0xe0, 0, 0, 0, 0, 0, 0};
    // KV-A2 (short, high bit): X 0x0102 = 258, Y 0x0304 = 772, raw
    // (0xc0<<2)|(0x80>>6) = 770 -> 770/2048*0.6 = 0.2256, contact above 42.
    const uint8_t a2[10] = {0x02, 0xa0, 0x01, 0x02, 0x03, 0x04, 0xc0, 0x80, 0, 0};
    const uint8_t leave[10] = {0x02, 0x80, 0, 0, 0, 0, 0, 0, 0, 0};
    PXDecodeState reader;
    PXGetDecodeState(&reader);
    reader.cashedKey = 1;  // the reader's state is not the description's
    PXSetDecodeState(&reader);
    EXPECT_EQ(hidrec::describe(0x8420, c1, 8), "x=4112 y=3141 pressure=0.3000 state=1 key=0");
    EXPECT_EQ(hidrec::describe(0x8420, lift, 8), "pen lifted");
    PXGetDecodeState(&reader);
    EXPECT_EQ(reader.cashedKey, 1);
    EXPECT_EQ(hidrec::describe(0x3102, a2, 10), "x=258 y=772 pressure=0.2256 state=1 key=0");
    EXPECT_EQ(hidrec::describe(0x3102, leave, 10), "pen leaves");
    EXPECT_EQ(hidrec::describe(0x3102, a2, 8), "ignored (8 bytes)");

    // Multi-touch, id 14: five fingers down (high bit of each 5-byte entry
    // from byte 2), all at 0,0. Whole it is described; in the reader's two
    // reads (10 bytes, then 42 put at byte 10) it is decoded.
    uint8_t mt[52] = {14, 1};
    for (int i = 0; i < 5; ++i)
        mt[2 + 5 * i] = 0x80;
    EXPECT_EQ(hidrec::describe(0x3102, mt, 52), "fingers=5 (0,0) (0,0) (0,0) (0,0) (0,0)");
    std::vector<hidrec::Decoded> out;
    hidrec::Decoder decoder(0x3102);
    decoder.feed(1, mt, 10, &out);
    decoder.feed(2, mt + 10, 42, &out);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_TRUE(out[0].multi);
    EXPECT_EQ(out[0].multiTouch.count, 5);
}

TEST(RecordingDecode, ListsTheEventsOfACleanFileOnly)
{
    TempDir d;
    // KV-C1: a sample, then the lift that closes it at the same place with
    // no pressure (the reader's closing event).
    const std::string good = d.write("good.hid", kHeader +
                                                     "E: 000000.000000 8 02 a1 10 10 00 10 00 02\n"
                                                     "E: 000000.010000 8 02 e0 00 00 00 00 00 00\n");
    char *buf = nullptr;
    size_t len = 0;
    FILE *out = open_memstream(&buf, &len);
    hidrec::Error e;
    EXPECT_EQ(hidrec::printDecoded(good, out, &e), 2);
    std::fclose(out);
    EXPECT_EQ(std::string(buf, len),
              "000000.000000 x=4112 y=3141 pressure=0.3000 state=1 key=0\n"
              "000000.010000 x=4112 y=3141 pressure=0.0000 state=0 key=0\n");
    free(buf);

    const std::string bad = d.write("bad.hid", kHeader +
                                                   "E: 000000.000000 8 02 a1 10 10 00 10 00 02\nE: 1 00\n");
    out = open_memstream(&buf, &len);
    EXPECT_EQ(hidrec::printDecoded(bad, out, &e), -1);
    std::fclose(out);
    EXPECT_EQ(len, 0u);  // nothing from a file that does not read cleanly
    free(buf);
    EXPECT_EQ(e.line, 5u);
}

}  // namespace
