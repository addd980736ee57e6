#include "klmfc/mfc/afx.h"

#include "platform/platform.h"

#include <cstring>

bool CRuntimeClass::IsDerivedFrom(CRuntimeClass const* base) const {
    for (CRuntimeClass const* c = this; c != nullptr; c = c->m_pBaseClass) {
        if (c == base) {
            return true;
        }
    }
    return false;
}

CRuntimeClass CObject::classCObject = {"CObject", sizeof(CObject), 0xFFFF, nullptr, nullptr};

CRuntimeClass* CObject::GetRuntimeClass() const { return &classCObject; }
CRuntimeClass* CObject::GetThisClass() { return &classCObject; }
void CObject::Serialize(CArchive&) {}
void CObject::AssertValid() const {}
void CObject::Dump(CDumpContext&) const {}

bool CObject::IsKindOf(CRuntimeClass const* cls) const {
    return GetRuntimeClass()->IsDerivedFrom(cls);
}

CRuntimeClass CException::classCException = {"CException", sizeof(CException), 0xFFFF, nullptr,
                                             &CObject::classCObject};

CRuntimeClass* CException::GetRuntimeClass() const { return &classCException; }
CRuntimeClass* CException::GetThisClass() { return &classCException; }

int CException::GetErrorMessage(char* buffer, unsigned int size, unsigned int* helpContext) {
    if (helpContext != nullptr) {
        *helpContext = 0;
    }
    if (buffer != nullptr && size > 0) {
        buffer[0] = 0;
    }
    return 0;
}

int CException::ReportError(unsigned int type, unsigned int) {
    return K_MessageBox("An unknown error has occurred.", "Error", type);
}

void CException::Delete() {
    if (m_bAutoDelete) {
        delete this;
    }
}

int K_MessageBox(char const* text, char const* title, unsigned int style) {
    return klmfc::platform::showMessage(text, title, style);
}
