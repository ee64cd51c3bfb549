#pragma once

#include "framework/JsonText.h"

#include <gtest/gtest.h>

/** The object that a request's text stands for. */
inline JsonObject json(std::string const& text)
{
    QString error;
    auto object = parseJsonObject(QByteArray::fromStdString(text), error);
    EXPECT_TRUE(object) << text << ": " << error.toStdString();
    return object.value_or(JsonObject());
}

/** An object's text in return, as a single line. */
inline std::string text(JsonObject const& object)
{
    return toCompactJson(object).toStdString();
}
