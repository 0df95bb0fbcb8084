/*
 * resulttext.cpp: result codes in the tools' messages.
 */
#include "resulttext.h"

#include <DravoPlus/DravoPlus.h>

QString resultText(int code)
{
    return QString::fromUtf16(DravoPlus::GetErrorString(code)) + QStringLiteral(" (code %1)").arg(code);
}
