#pragma once

#include "tools/vrelhost/commandline/OptionTable.h"
#include "tools/vrelhost/commandline/Subcommand.h"
#include "tools/vrelhost/runs/Interruption.h"
#include "tools/vrelhost/runs/RunOptions.h"

struct RunSetting;

/** What subcommands share that carry a request or recipe out on devices. */
namespace DeviceSubcommand {

constexpr Arguments::Meaning kRequestMeaning = {
    "REQUEST", "A JSON file, - for standard input, or JSON text that begins with {. Its key "
               "\"command\" names a command, its other keys are the command's parameters. Texts of these may "
               "contain {serial} and {path}, which stand for the device's; {{serial}} and {{path}} give "
               "{serial} and {path} themselves."};
constexpr Arguments kRequest = {"REQUEST", {kRequestMeaning}};
constexpr Arguments kRequestOrRecipe = {
    "REQUEST|RECIPE",
    {kRequestMeaning,
     {"RECIPE",
      "Likewise a JSON array of steps, run in order on each device up to the first that fails. A step is a "
      "request, {\"wait\": SECONDS}, which waits until the vendor API lists the device, with \"for\": "
      "\"restart\" "
      "until it was away and is listed again, or {\"exec\": [\"PROGRAM\", \"ARG\", ...], \"timeout\": "
      "SECONDS}."}}};

using Option = OptionRow<RunOptions>;
using Number = Option::Number;

/** The options that they share. */
QList<QCommandLineOption> options();

/**
 * Carries the request or recipe out that the first argument is.
 * @param given the values of the subcommand's own options
 * @param firstSignal what it brings
 * @param work what is done with both; yields the exit code
 */
int carryOut(Invocation const& call, RunOptions const& given, Interruption::Stage firstSignal,
             int (*work)(RunSetting&));

} // namespace DeviceSubcommand
