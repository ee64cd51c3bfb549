#pragma once

#include <QtGlobal>

/** Marks what the host framework's library exports. */
#define HOST_EXPORT Q_DECL_EXPORT
