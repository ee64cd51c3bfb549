#pragma once

#include "commands/VrelFlashUtils.h"
#include "external/JsonObject.h"
#include "external/LogHandler.h"
#include "plugin/VrelManager.h"
#include "tests/support/FakeApi.h"
#include "tests/support/LogRecorder.h"

#include <gtest/gtest.h>

/** What a command is run with: a vendor API, a manager on it, and a log. */
class CommandRun
{
protected:
    /** Runs a request; the lines without the front end's trace line. The calls noted are those of this run.
     */
    Lines run(JsonObject const& request, bool expected, char const* serial = "SN")
    {
        VrelFlashUtils utils(request);
        m_api.calls.clear();
        m_recorder.clear();
        EXPECT_EQ(utils.run(m_manager.fetchApi(), QString::fromUtf8(serial), m_log), expected)
            << utils.getCommandId().toStdString();
        Lines lines = m_recorder.lines();
        lines.erase(lines.begin());
        return lines;
    }

    FakeApi m_api;
    VrelManager m_manager;
    LogHandler m_log;
    LogRecorder m_recorder;
};
