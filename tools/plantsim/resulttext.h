/*
 * resulttext.h: the middleware's text of a result code as the tools print
 * it in their messages: "No such record or box (code 2001)".
 */
#ifndef MV_RESULTTEXT_H
#define MV_RESULTTEXT_H

#include <QtCore/QString>

QString resultText(int code);

#endif
