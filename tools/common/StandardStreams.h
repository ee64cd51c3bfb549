#pragma once

/**
 * Opens /dev/null in place of every closed standard stream, and lets writes to a pipe that nobody reads fail
 * instead of ending the process: what is being done to a device goes on. To be called before anything else
 * opens a file: that file would become the standard stream, and log lines would land in it.
 */
void openStandardStreams();
