// Memory files, CString and the arrays meeting the MFC stand-ins: a memory file carried as
// one field of a CArchive, archives over memory and disk files, and the arrays' wire form
// on both kinds of stream.
#include "memoryfile/memoryfile_test_support.h"

#include "klmfc/file/filestream.h"

#include <gtest/gtest.h>

namespace {

using klmfc::test::FileSystemTest;
using klmfc::test::hexOf;
using klmfc::test::raised;
using klmfc::test::TempDir;

// What an archive holds after `store` wrote into it.
template <class F> std::string stored(F&& store) {
    CMemFile memory;
    {
        CArchive archive(&memory, CArchive::store);
        store(archive);
    }
    std::string out(static_cast<std::size_t>(memory.GetLength()), '\0');
    memory.SeekToBegin();
    memory.Read(out.data(), static_cast<unsigned int>(out.size()));
    return out;
}

// The cause of the CArchiveException that `action` throws; -1 for none.
template <class F> int archiveCause(F&& action) {
    try {
        action();
    } catch (CArchiveException* e) {
        int const cause = e->m_cause;
        e->Delete();
        return cause;
    }
    return -1;
}

// 1 to 6 as floats, bare and tagged.
std::string const kOneToSix =
    "00 00 80 3F 00 00 00 40 00 00 40 40 00 00 80 40 00 00 A0 40 00 00 C0 40";
std::string const kOneToSixTagged = "09 00 00 80 3F 09 00 00 00 40 09 00 00 40 40 "
                                    "09 00 00 80 40 09 00 00 A0 40 09 00 00 C0 40";

TEST(MemoryFileArchive, CarriesTheContentAndRebuildsAReadableFile) {
    K_MemoryFile file;
    file << 5 << K_String("ab");
    std::string const bytes = stored([&](CArchive& a) { a << file; });
    EXPECT_EQ(hexOf(bytes), "07 00 00 00 14 05 0D 14 02 61 62");

    CMemFile memory(const_cast<char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
    CArchive archive(&memory, CArchive::load);
    K_MemoryFile back(4u);
    back.setFilename("kept.bin");
    back.disableTags();
    back << 1;
    archive >> back;
    EXPECT_STREQ(back.getFilename(), "kept.bin");
    EXPECT_EQ(back.getMode(), K_MemoryFile::MODE_READ);
    EXPECT_EQ(back.getPosition(), 0u);
    EXPECT_TRUE(back.areTagsEnabled());
    int five = 0;
    K_String ab;
    back >> five >> ab;
    EXPECT_EQ(five, 5);
    EXPECT_EQ(ab, "ab");
}

TEST(MemoryFileArchive, AnEmptyFileIsItsSizeAlone) {
    K_MemoryFile empty;
    std::string const bytes = stored([&](CArchive& a) { a << empty; });
    EXPECT_EQ(hexOf(bytes), "00 00 00 00");
    CMemFile memory(const_cast<char*>(bytes.data()), 4);
    CArchive archive(&memory, CArchive::load);
    K_MemoryFile back;
    archive >> back;
    EXPECT_TRUE(back.isConstructed());
    EXPECT_EQ(back.getSize(), 0u);
}

TEST(MemoryFileArchive, ATruncatedArchiveLeavesTheTargetUnbuilt) {
    for (std::string const& bytes :
         {std::string("\x0A\0\0\0abc", 7), std::string("\xF0\xFF\xFF\xFF", 4),
          std::string("\x01\0", 2)}) {
        CMemFile memory(const_cast<char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
        CArchive archive(&memory, CArchive::load);
        K_MemoryFile target;
        target << 1;
        EXPECT_EQ(archiveCause([&] { archive >> target; }), CArchiveException::endOfFile);
        EXPECT_FALSE(target.isConstructed());
    }
}

TEST(MemoryFileArchive, WriteThroughFilesCannotBeStored) {
    TempDir dir;
    K_MemoryFile file(16, (dir / "w.bin").c_str());
    file << 1;
    CMemFile memory;
    CArchive archive(&memory, CArchive::store);
    EXPECT_NE(raised<K_MemoryFileException_InvalidOperation>([&] { archive << file; }), "none");
}

class MemoryFileArchiveStream : public FileSystemTest {};

TEST_F(MemoryFileArchiveStream, AFileReadByStreamIsStoredFromItsStream) {
    dir.write("s.bin", "0123456789");
    K_FileStream stream("s.bin", 16);
    K_MemoryFile view(stream, 2, 5);
    char skip;
    view.read(&skip, 1);
    EXPECT_EQ(stored([&](CArchive& a) { a << view; }), std::string("\x05\0\0\0"
                                                                   "23456",
                                                                   9));
    EXPECT_EQ(view.getPosition(), 1u);
}

TEST(MemoryFileArchive, ArchivesStoreLittleEndianAndReportTheirFailures) {
    TempDir dir;
    CFile out;
    ASSERT_TRUE(out.Open((dir / "a.bin").c_str(), CFile::modeCreate | CFile::modeWrite));
    {
        CArchive archive(&out, CArchive::store, 16);
        archive << 0x01020304 << 1.0f << static_cast<short>(-2) << 1.5
                << static_cast<unsigned long>(7);
        EXPECT_EQ(archiveCause([&] {
                      int x;
                      archive >> x;
                  }),
                  CArchiveException::writeOnly);
    }
    out.Close();
    EXPECT_EQ(hexOf(klmfc::test::readFile(dir / "a.bin")),
              "04 03 02 01 00 00 80 3F FE FF 00 00 00 00 00 00 F8 3F 07 00 00 00");

    CFile in;
    ASSERT_TRUE(in.Open((dir / "a.bin").c_str(), CFile::modeRead));
    CArchive archive(&in, CArchive::load, 16);
    int i = 0;
    float f = 0;
    short s = 0;
    double d = 0;
    unsigned long ul = 0;
    archive >> i >> f >> s >> d >> ul;
    EXPECT_EQ(i, 0x01020304);
    EXPECT_EQ(f, 1.0f);
    EXPECT_EQ(s, -2);
    EXPECT_EQ(d, 1.5);
    EXPECT_EQ(ul, 7u);
    EXPECT_EQ(archiveCause([&] { archive >> i; }), CArchiveException::endOfFile);
    EXPECT_EQ(archiveCause([&] { archive << i; }), CArchiveException::readOnly);
}

TEST(MemoryFileCString, ReadsAndWritesTheStringForm) {
    K_MemoryFile file;
    file << CString() << CString("abc");
    EXPECT_EQ(hexOf(file), "0D 14 00 0D 14 03 61 62 63");
    file.toRead();
    CString empty = "x";
    K_String abc;
    file >> empty >> abc;
    EXPECT_TRUE(empty.IsEmpty());
    EXPECT_EQ(abc, "abc");
}

TEST(MemoryFileArrays, WriteCountAndComponentsInLogicalOrder) {
    M_Vector3Array v(4);
    v.resize(2);
    v.set(0, {1, 2, 3});
    v.set(1, {4, 5, 6});
    K_MemoryFile tagged;
    tagged << v;
    EXPECT_EQ(hexOf(tagged), "14 02 " + kOneToSixTagged);
    K_MemoryFile bare;
    bare.disableTags();
    bare << v;
    EXPECT_EQ(hexOf(bare), "02 00 00 00 " + kOneToSix);
    EXPECT_EQ(hexOf(stored([&](CArchive& a) { a << v; })), "02 00 00 00 " + kOneToSix);

    K_MemoryFile none;
    none << M_ScalarArray();
    EXPECT_EQ(hexOf(none), "14 00");
}

TEST(MemoryFileArrays, ArchiveRoundTripsTakeTheExactSize) {
    M_Vector2Array two(8);
    two.resize(5);
    for (int i = 0; i < 5; ++i) {
        two.set(i, {static_cast<float>(i), static_cast<float>(-i)});
    }
    M_ScalarArray scalars(4);
    scalars.resize(3);
    scalars.set(2, 2.5f);
    std::string const bytes = stored([&](CArchive& a) { a << two << scalars; });
    EXPECT_EQ(bytes.size(), 4u + 4 * 2 * 5 + 4u + 4 * 3);

    CMemFile memory(const_cast<char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
    CArchive archive(&memory, CArchive::load);
    M_Vector2Array back;
    M_ScalarArray scalarsBack(16);
    archive >> back >> scalarsBack;
    EXPECT_EQ(back.getCurrentSize(), 5);
    EXPECT_EQ(back.get(4).y, -4.0f);
    EXPECT_EQ(scalarsBack.getCurrentSize(), 3);
    EXPECT_EQ(scalarsBack.getAllocatedSize(), 16);
    EXPECT_EQ(scalarsBack.get(2), 2.5f);

    std::string const negative("\xFF\xFF\xFF\xFF", 4);
    CMemFile bad(const_cast<char*>(negative.data()), 4);
    CArchive badArchive(&bad, CArchive::load);
    M_Vector4Array four(4);
    EXPECT_EQ(archiveCause([&] { badArchive >> four; }), CArchiveException::badIndex);
    EXPECT_EQ(four.getCurrentSize(), 4);
}

} // namespace
