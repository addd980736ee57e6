// The exception tree: default message, the ring of message buffers, localisation,
// the platform's reporting operations, the runtime class and the throw procedure.
#include "klmfc/core/exception.h"
#include "klmfc/memory/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

class TestException : public K_Exception {};

// Leaves made the library's way: one without particulars, one with.
class K_TestException_Fixed : public K_MemoryException {
    K_EXCEPTION_CLASS_BODY(K_TestException_Fixed, K_MemoryException)
    K_TestException_Fixed() { setError("fixed failure"); }
};
class K_TestLoaderException_Line : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_TestLoaderException_Line, K_ScriptLoaderException)
    explicit K_TestLoaderException_Line(int line) { setError("bad line %d", line); }
};

TEST(Exception, DefaultMessageFlagAndRuntimeClass) {
    TestException plain;
    EXPECT_STREQ("Unspecified K_Exception", plain.getErrorMessage());
    EXPECT_FALSE(plain.m_bAutoDelete);
    K_TestException_Fixed leaf;
    CRuntimeClass const& record = K_Exception::classK_Exception;
    EXPECT_EQ(&record, static_cast<CObject&>(leaf).GetRuntimeClass());
    EXPECT_EQ(&record, K_Exception::GetThisClass());
    EXPECT_STREQ("K_Exception", record.m_lpszClassName);
    EXPECT_EQ(0xFFFFu, record.m_wSchema);
    EXPECT_EQ(nullptr, record.m_pfnCreateObject);
    EXPECT_EQ(CException::GetThisClass(), record.m_pBaseClass);
    EXPECT_TRUE(leaf.IsKindOf(CObject::GetThisClass()));
}

TEST(Exception, RingOfFourBuffersReusedByTheFifthMessageAndCutAt8191) {
    int const first = K_Exception::sm_iNextErrorMessage;
    TestException e[5];
    for (int i = 0; i < 5; ++i) {
        e[i].setError("message %d", i);
        EXPECT_EQ(K_Exception::sm_acErrorMessages[(first + i) % 4], e[i].getErrorMessage()) << i;
    }
    EXPECT_EQ((first + 5) % 4, K_Exception::sm_iNextErrorMessage);
    EXPECT_STREQ("message 4", e[0].getErrorMessage()); // its buffer was taken again
    for (int i = 1; i < 4; ++i) {
        EXPECT_EQ("message " + std::to_string(i), e[i].getErrorMessage());
    }
    for (std::size_t length : {9000, 8192, 8191, 8190}) {
        e[0].setError("%s", std::string(length, 'q').c_str());
        EXPECT_EQ(std::min<std::size_t>(length, 8191), std::strlen(e[0].getErrorMessage()));
    }
}

K_Exception const* g_seenException;
std::string g_seenFormat;

// Translates in place by formatting a text of its own with the arguments, to which
// `arguments` points.
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
    int const next = K_Exception::sm_iNextErrorMessage;
    K_Exception::setLocalizationCallback(translate);
    e.setError("file %s missing (%d)", "a.txt", 42);
    EXPECT_STREQ("Datei a.txt fehlt (42)", e.getErrorMessage());
    EXPECT_EQ(K_Exception::sm_acErrorMessages[next], e.getErrorMessage());
    EXPECT_EQ(&e, g_seenException);
    EXPECT_EQ("file %s missing (%d)", g_seenFormat);
    K_Exception::clearLocalizationCallback();
    EXPECT_EQ(nullptr, K_Exception::m_pfLocalizationCallback);
    e.setError("file %s missing (%d)", "a.txt", 42);
    EXPECT_STREQ("file a.txt missing (42)", e.getErrorMessage());
}

TEST(Exception, PlatformOperationsAssignmentAndCopy) {
    TestException e;
    e.setError("abc");
    CException& base = e; // through the platform's virtual slots
    char buffer[8] = "#######";
    unsigned int help = 77;
    EXPECT_EQ(1, base.GetErrorMessage(buffer, sizeof buffer, &help));
    EXPECT_STREQ("abc", buffer);
    EXPECT_EQ(0u, help);
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(1, base.GetErrorMessage(buffer, 2, nullptr));
    EXPECT_EQ("ab######", std::string(buffer, sizeof buffer)); // at most `size` characters
    testing::internal::CaptureStderr();
    EXPECT_EQ(1, base.ReportError(0x30, 5));
    EXPECT_EQ("K_Exception: abc\n", testing::internal::GetCapturedStderr());

    TestException other;
    other = e;
    TestException copy(e);
    EXPECT_EQ(e.getErrorMessage(), other.getErrorMessage()); // the pointer is shared
    EXPECT_EQ(e.getErrorMessage(), copy.getErrorMessage());
    EXPECT_FALSE(copy.m_bAutoDelete);
}

template <class Caught, class Leaf, class... Args> Caught* raiseAndCatch(Args... args) {
    try {
        K_Raise<Leaf>(args...);
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
    void* const handled[] = {
        raiseAndCatch<Leaf, Leaf>(),        raiseAndCatch<K_MemoryException, Leaf>(),
        raiseAndCatch<K_Exception, Leaf>(), raiseAndCatch<CException, Leaf>(),
        raiseAndCatch<CObject, Leaf>(),     raiseAndCatch<void, Leaf>()};
    for (void* address : handled) {
        EXPECT_EQ(static_cast<void*>(leaf), address);
    }

    // A class without particulars builds its static object through its own constructor,
    // which formats a message of its own; the thrown object then carries the temporary's.
    static bool s_built = false; // once per process
    for (int round = 0; round < 2; ++round, s_built = true) {
        int const next = K_Exception::sm_iNextErrorMessage;
        K_Exception* fixed = raiseAndCatch<K_Exception, K_TestException_Fixed>();
        ASSERT_NE(nullptr, fixed);
        EXPECT_EQ(K_Exception::sm_acErrorMessages[next], fixed->getErrorMessage());
        EXPECT_STREQ("fixed failure", fixed->getErrorMessage());
        EXPECT_EQ((next + (s_built ? 1 : 2)) % 4, K_Exception::sm_iNextErrorMessage);
    }
    // One with particulars builds it blank; a loader failure is a script failure too.
    int const next = K_Exception::sm_iNextErrorMessage;
    K_ScriptException* script = raiseAndCatch<K_ScriptException, K_TestLoaderException_Line>(12);
    ASSERT_NE(nullptr, script);
    EXPECT_STREQ("bad line 12", script->getErrorMessage());
    EXPECT_EQ((next + 1) % 4, K_Exception::sm_iNextErrorMessage);
}

} // namespace
