// The exception tree: default message, the ring of message buffers, localisation,
// the platform's reporting operations, the runtime class and the throw procedure.
#include "klmfc/core/exception.h"
#include "klmfc/memory/memory.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

class TestException : public K_Exception {
public:
    TestException() = default;
};

// Leaves made the library's way: one without particulars, one with.
class K_TestException_Fixed : public K_MemoryException {
    K_EXCEPTION_CLASS_BODY(K_TestException_Fixed, K_MemoryException)
    K_TestException_Fixed() { setError("fixed failure"); }
};
class K_TestLoaderException_Line : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_TestLoaderException_Line, K_ScriptLoaderException)
    explicit K_TestLoaderException_Line(int line) { setError("bad line %d", line); }
};

int ringIndexOf(char const* message) {
    for (int i = 0; i < 4; ++i) {
        if (message == K_Exception::sm_acErrorMessages[i]) {
            return i;
        }
    }
    return -1;
}

// Clears the callback however a test ends.
struct CallbackScope {
    explicit CallbackScope(K_Exception::LocalizationCallback callback) {
        K_Exception::setLocalizationCallback(callback);
    }
    ~CallbackScope() { K_Exception::clearLocalizationCallback(); }
};

TEST(Exception, DefaultMessageFlagAndRuntimeClass) {
    TestException plain;
    EXPECT_STREQ("Unspecified K_Exception", plain.getErrorMessage());
    EXPECT_FALSE(plain.m_bAutoDelete);

    K_TestException_Fixed leaf;
    CRuntimeClass const* const classes[] = {plain.GetRuntimeClass(), leaf.GetRuntimeClass(),
                                            static_cast<CObject&>(leaf).GetRuntimeClass(),
                                            K_Exception::GetThisClass()};
    for (CRuntimeClass const* cls : classes) {
        EXPECT_EQ(&K_Exception::classK_Exception, cls);
    }
    CRuntimeClass const& record = K_Exception::classK_Exception;
    EXPECT_STREQ("K_Exception", record.m_lpszClassName);
    EXPECT_EQ(0xFFFFu, record.m_wSchema);
    EXPECT_EQ(nullptr, record.m_pfnCreateObject);
    ASSERT_EQ(CException::GetThisClass(), record.m_pBaseClass);
    EXPECT_STREQ("CException", record.m_pBaseClass->m_lpszClassName);
    EXPECT_TRUE(leaf.IsKindOf(CObject::GetThisClass()));
}

TEST(Exception, RingOfFourBuffersReusedByTheFifthMessage) {
    TestException e[5];
    char const* at[5];
    for (int i = 0; i < 5; ++i) {
        e[i].setError("message %d", i);
        at[i] = e[i].getErrorMessage();
    }
    int const first = ringIndexOf(at[0]);
    ASSERT_NE(-1, first);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(K_Exception::sm_acErrorMessages[(first + i) % 4], at[i]) << i;
    }
    EXPECT_EQ((first + 5) % 4, K_Exception::sm_iNextErrorMessage);
    EXPECT_STREQ("message 1", e[1].getErrorMessage());
    EXPECT_STREQ("message 2", e[2].getErrorMessage());
    EXPECT_STREQ("message 3", e[3].getErrorMessage());
    EXPECT_STREQ("message 4", e[0].getErrorMessage()); // its buffer was taken again

    struct Row {
        std::size_t length;
        std::size_t kept;
    };
    Row const rows[] = {{9000, 8191}, {8192, 8191}, {8191, 8191}, {8190, 8190}};
    for (Row const& row : rows) {
        std::string const text(row.length, 'q');
        e[0].setError("%s", text.c_str());
        EXPECT_EQ(std::string(row.kept, 'q'), e[0].getErrorMessage()) << row.length;
    }
}

void upperCase(K_Exception const&, char* message, char const*, char*) {
    for (char* p = message; *p != 0; ++p) {
        *p = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
    }
}

K_Exception const* g_seenException;
std::string g_seenFormat;

// Translates by formatting its own text with the arguments: `arguments` points to the
// argument list.
void translate(K_Exception const& exception, char* message, char const* format, char* arguments) {
    g_seenException = &exception;
    g_seenFormat = format;
    va_list copy;
    va_copy(copy, *reinterpret_cast<va_list*>(arguments));
    std::vsnprintf(message, 8192, "Datei %s fehlt (%d)", copy);
    va_end(copy);
}

TEST(Exception, LocalizationCallbackRewritesTheRingBufferInPlace) {
    TestException e;
    {
        CallbackScope scope(upperCase);
        EXPECT_EQ(&upperCase, K_Exception::m_pfLocalizationCallback);
        e.setError("disk %s is full", "c:");
        EXPECT_STREQ("DISK C: IS FULL", e.getErrorMessage());
        EXPECT_NE(-1, ringIndexOf(e.getErrorMessage()));
    }
    {
        CallbackScope scope(translate);
        e.setError("file %s missing (%d)", "a.txt", 42);
        EXPECT_STREQ("Datei a.txt fehlt (42)", e.getErrorMessage());
        EXPECT_EQ(&e, g_seenException);
        EXPECT_EQ("file %s missing (%d)", g_seenFormat);
    }
    EXPECT_EQ(nullptr, K_Exception::m_pfLocalizationCallback);
    e.setError("disk %s is full", "c:");
    EXPECT_STREQ("disk c: is full", e.getErrorMessage());
}

TEST(Exception, PlatformOperationsAssignmentAndCopy) {
    TestException e;
    e.setError("abc");
    CException& base = e; // through the platform's virtual slots
    char buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    unsigned int help = 77;
    EXPECT_EQ(1, base.GetErrorMessage(buffer, sizeof buffer, &help));
    EXPECT_STREQ("abc", buffer);
    EXPECT_EQ(0u, help);
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(1, base.GetErrorMessage(buffer, 2, nullptr));
    EXPECT_EQ("ab######", std::string(buffer, sizeof buffer)); // at most `size` characters

    testing::internal::CaptureStderr();
    int const answer = base.ReportError(0x30, 5);
    EXPECT_EQ("K_Exception: abc\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ(1, answer);

    char const* const message = e.getErrorMessage();
    K_Exception& alias = e;
    alias = e; // the same object
    EXPECT_EQ(message, e.getErrorMessage());
    TestException other;
    other = e;
    EXPECT_EQ(message, other.getErrorMessage());
    TestException copy(e);
    EXPECT_EQ(message, copy.getErrorMessage());
    EXPECT_FALSE(copy.m_bAutoDelete);
}

template <class Caught, class Leaf> Caught* raiseAndCatch() {
    try {
        K_Raise<Leaf>();
    } catch (Caught* caught) {
        return caught;
    }
    return nullptr;
}

TEST(Exception, ThrowsPointTheOneStaticObjectOfTheClassAtEveryHandler) {
    using Leaf = K_MemoryException_Allocation;
    Leaf* const leaf = raiseAndCatch<Leaf, Leaf>();
    ASSERT_NE(nullptr, leaf);
    EXPECT_STREQ("Out of system memory resources", leaf->getErrorMessage());
    EXPECT_FALSE(leaf->m_bAutoDelete);
    EXPECT_EQ(leaf, (raiseAndCatch<Leaf, Leaf>()));
    EXPECT_EQ(static_cast<K_MemoryException*>(leaf), (raiseAndCatch<K_MemoryException, Leaf>()));
    EXPECT_EQ(static_cast<K_Exception*>(leaf), (raiseAndCatch<K_Exception, Leaf>()));
    EXPECT_EQ(static_cast<CException*>(leaf), (raiseAndCatch<CException, Leaf>()));
    EXPECT_EQ(static_cast<CObject*>(leaf), (raiseAndCatch<CObject, Leaf>()));
    EXPECT_EQ(static_cast<void*>(leaf), (raiseAndCatch<void, Leaf>()));

    // A class without particulars builds its static object through its own constructor,
    // which formats a message of its own; the thrown object then carries the
    // temporary's.
    static bool s_firstRaise = true; // the static object is built once per process
    for (int round = 0; round < 2; ++round) {
        int const next = K_Exception::sm_iNextErrorMessage;
        int const used = s_firstRaise ? 2 : 1;
        s_firstRaise = false;
        K_Exception* fixed = raiseAndCatch<K_Exception, K_TestException_Fixed>();
        ASSERT_NE(nullptr, fixed);
        EXPECT_EQ(K_Exception::sm_acErrorMessages[next], fixed->getErrorMessage()) << round;
        EXPECT_STREQ("fixed failure", fixed->getErrorMessage());
        EXPECT_EQ((next + used) % 4, K_Exception::sm_iNextErrorMessage) << round;
    }

    // One with particulars builds it blank; a loader failure is a script failure too.
    int const next = K_Exception::sm_iNextErrorMessage;
    K_ScriptException* script = nullptr;
    try {
        K_Raise<K_TestLoaderException_Line>(12);
    } catch (K_ScriptException* caught) {
        script = caught;
    }
    ASSERT_NE(nullptr, script);
    EXPECT_STREQ("bad line 12", script->getErrorMessage());
    EXPECT_EQ((next + 1) % 4, K_Exception::sm_iNextErrorMessage);
}

} // namespace
