#include "nbihost/objectschema.h"

void __SetDirty(ObjectSchema_T& schema, const char* pAttribute)  // NOLINT: the host's own name
{
    if (pAttribute != nullptr) schema.m_DirtyAttributes.insert(pAttribute);
}
