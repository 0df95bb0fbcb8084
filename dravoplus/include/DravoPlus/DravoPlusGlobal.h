/*
 * DravoPlusGlobal.h: symbol export of the middleware client library.
 * The library is built with hidden visibility; only what is marked
 * DRAVOPLUS_EXPORT is part of its interface.
 */
#ifndef DRAVOPLUS_GLOBAL_H
#define DRAVOPLUS_GLOBAL_H

#define DRAVOPLUS_EXPORT __attribute__((visibility("default")))

#endif
