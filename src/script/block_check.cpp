// Block validation: a block's children checked against a table of names and occurrences.
#include "script/script_internal.h"

void K_Script::blockCheck(Blocks const* table, bool allowUnknown) {
    if (!allowUnknown) {
        auto const& children = m_current->children;
        for (SCRIPTBLOCK const* child = children.getFirst(); child != nullptr;
             child = children.getNext(const_cast<SCRIPTBLOCK*>(child))) {
            bool known = false;
            for (Blocks const* row = table; row != nullptr && row->name != nullptr; ++row) {
                if (blkstrequal(child->name, row->name)) {
                    known = true;
                    break;
                }
            }
            if (!known) {
                K_Raise<K_ScriptException_UnknownBlock>(child->name, staticNesting());
            }
        }
    }
    for (Blocks const* row = table; row != nullptr && row->name != nullptr; ++row) {
        unsigned const n = count(row->name);
        if (n < row->minimum) {
            K_Raise<K_ScriptException_TooFewBlocks>(row->name, row->minimum, staticNesting());
        }
        if (n > row->maximum) {
            K_Raise<K_ScriptException_TooManyBlocks>(row->name, row->maximum, staticNesting());
        }
    }
}

void K_Script::blockCheck(Blocks const* table, unsigned index, bool allowUnknown) {
    K_ScriptLock const lock(this, index);
    blockCheck(table, allowUnknown);
}

void K_Script::blockCheck(Blocks const* table, char const* name, unsigned number,
                          bool allowUnknown) {
    K_ScriptLock const lock(this, name, number);
    blockCheck(table, allowUnknown);
}
