// Small stand-ins for the three MFC classes the library builds its exceptions on.
// They carry exactly what the exception tree uses: the runtime class record, the
// object's virtual operations (slots 0 to 4) and the exception's deletion flag
// with its two reporting operations (slots 5 and 6).
#pragma once

class CObject;
class CArchive;
class CDumpContext;

struct CRuntimeClass {
    char const* m_lpszClassName;
    int m_nObjectSize;
    unsigned int m_wSchema;
    CObject* (*m_pfnCreateObject)();
    CRuntimeClass* m_pBaseClass;

    // true when this class is `base` or derives from it
    bool IsDerivedFrom(CRuntimeClass const* base) const;
};

class CObject {
public:
    virtual CRuntimeClass* GetRuntimeClass() const;
    virtual ~CObject() = default;
    virtual void Serialize(CArchive& archive);
    virtual void AssertValid() const;
    virtual void Dump(CDumpContext& context) const;

    bool IsKindOf(CRuntimeClass const* cls) const;
    static CRuntimeClass* GetThisClass();

    static CRuntimeClass classCObject;

protected:
    CObject() = default;
    CObject(CObject const&) = default;
    CObject& operator=(CObject const&) = default;
};

// Blocking message with a title and a style word, answered on a terminal by a line on
// stderr. Returns the button pressed (1, "OK", when nobody can answer).
int K_MessageBox(char const* text, char const* title, unsigned int style);

class CException : public CObject {
public:
    // `autoDelete` says whether Delete() may free the object; static exceptions pass false.
    explicit CException(bool autoDelete = true) : m_bAutoDelete(autoDelete) {}

    CRuntimeClass* GetRuntimeClass() const override;
    virtual int GetErrorMessage(char* buffer, unsigned int size,
                                unsigned int* helpContext = nullptr);
    virtual int ReportError(unsigned int type = 0, unsigned int messageID = 0);

    // Frees the object when it was created with automatic deletion on.
    void Delete();

    static CRuntimeClass* GetThisClass();
    static CRuntimeClass classCException;

    bool m_bAutoDelete;
};
