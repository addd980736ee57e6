// The file manager: one name space over a directory tree and archives, reached
// through the global File.
#pragma once

#include "klmfc/core/system.h"
#include "klmfc/file/compression.h"

// ---- compression and scrambling: failures ---------------------------------------------
// A "KA->" or "KC->" container that is not what it says: `mark` is the container's kind,
// `reason` what is wrong with it.
class K_FileException_ContainerCorrupted : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_ContainerCorrupted, K_FileException)
    K_FileException_ContainerCorrupted(char const* mark, char const* reason);
};
// ---- end of compression and scrambling: failures ---------------------------------------

class K_File {
public:
    // Path modes.
    enum { ArchiveHandlingOff = 0, ArchiveHandlingOn = 1 };

    char const* getStartupDirectory() const { return m_strStartupDirectory; }
    // The file system root, an operating-system path with no trailing separator.
    static char const* getRootDirectory() { return m_originalLocalDirPath; }
    static int getArchiveHandling() { return m_archiveHandling; }
    void setOverride(int value) { m_override = value; }
    int getOverride() const { return m_override; }

    static unsigned int instance;
    static int m_archiveHandling;
    static char m_strStartupDirectory[256];
    static char m_originalLocalDirPath[256];
    static char m_path[256];

private:
    friend class K_KovmarInit;

    K_File();
    ~K_File();
    K_File(K_File const&) = delete;
    K_File& operator=(K_File const&) = delete;

    void loadArchives();
    void unloadArchives();

    int m_override;

    // ---- compression, scrambling and checksums --------------------------------------------
    // lzss.cpp, lzss_stream.cpp, scramble.cpp, crc32.cpp. Blocks that these return belong
    // to the caller, who releases them with free.
public:
    // A new "KA->" container of `size` bytes of `data`: the characters "KA->", the size,
    // the size of the code stream, then the code stream. `label` names the allocation.
    static void* compress(char const* label, void const* data, unsigned int size);
    static void* compress(void const* data, unsigned int size);
    // A new buffer of the container's uncompressed size with the decoded bytes. Raises
    // K_FileException_ContainerCorrupted when the container is not a sound "KA->" one.
    // The container must hold the 12 bytes of its header and the code stream they give;
    // nothing behind that is read.
    static void* decompress(char const* label, void const* container);
    static void* decompress(void const* container);

    // A new "KC->" container: "KC->", the plain size, the plain size + 16, the seed, and
    // the scrambled bytes. The seed comes from rand().
    static void* encrypt(char const* label, void const* data, unsigned int size);
    static void* encrypt(void const* data, unsigned int size);
    // A new buffer of the plain size with the descrambled bytes. Raises
    // K_FileException_ContainerCorrupted when the mark or the two sizes disagree.
    static void* decrypt(char const* label, void const* container);
    static void* decrypt(void const* container);

    // The standard CRC-32 (reflected, polynomial 0xEDB88320); 0 for no bytes.
    static unsigned int CRC32(void const* data, unsigned int size);

    static char const* const CMPHEADER;   // "KA->"
    static char const* const CRYPTHEADER; // "KC->"

private:
    friend class K_FileTestAccess;

    // Decodes the container into `buffer`, which takes the container's uncompressed size,
    // and returns `buffer`. Checks and raises as the public form does; on a raise the
    // buffer may hold part of the data. Pass `buffer` as void*: a char* picks the public
    // form with a label.
    static void* decompress(void* buffer, void const* container);

    // The encoder's binary search tree over the window; node i is the 18-byte string
    // at text_buf[i].
    static void initTree();
    static void insertNode(int r);
    static void deleteNode(int p);

    // Descrambles `size` bytes in place, counting from 0; a seed of 0 is taken as 1.
    static void decryptWithSeed(unsigned char* data, int size, int seed);

    static unsigned char text_buf[4113]; // the ring and a copy of its first 17 bytes
    static int dad[4097];
    static int lson[4097];
    static int rson[4353]; // 4097 to 4352: the roots, one per first byte
    static int match_position;
    static int match_length;
    // ---- end of compression, scrambling and checksums -------------------------------------
};
