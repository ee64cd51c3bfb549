#pragma once

#include <QtGlobal>

/** Marks what the plug-in library exports; all else is hidden. */
#define VREL_EXPORT Q_DECL_EXPORT
/** Hides a nested class or a private operation of an exported one. */
#define VREL_LOCAL Q_DECL_HIDDEN
