/*
 * middlewaretext_p.h (internal): how the runtime interface's texts cross
 * into and out of the middleware.
 *
 * The middleware keeps text fields and its own error texts in UTF-16. The
 * heartbeat record, the notifications, the remote commands and the point
 * writes all convert the same way, so the conversions live here once.
 */
#ifndef MVSHARED_RUNTIME_MIDDLEWARETEXT_P_H
#define MVSHARED_RUNTIME_MIDDLEWARETEXT_P_H

#include <DravoPlus/DravoPlus.h>

#include <QtCore/QString>

namespace MorvaneRuntime {

/* Puts the text into a UTF-16 field, its length being its character count;
 * the middleware's result. */
inline int putUtf16(DravoData& record, const char* field, const QString& text)
{
    return record.PutValueUtf16(field, reinterpret_cast<const char16_t*>(text.utf16()), text.size());
}

/* The middleware's own text for one of its codes. */
inline QString middlewareErrorText(int code)
{
    return QString::fromUtf16(reinterpret_cast<const ushort*>(DravoPlus::GetErrorString(code)));
}

} // namespace MorvaneRuntime

#endif
