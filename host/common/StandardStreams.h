#pragma once

/**
 * Opens /dev/null in place of every closed standard stream. To be called before anything else opens a file:
 * that file would become the standard stream, and log lines would land in it.
 */
void openStandardStreams();
