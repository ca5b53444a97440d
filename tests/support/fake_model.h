// A scripted daemon with a small data model, for tests of what the client makes of names and attributes:
//
//   Device.                      object
//     DeviceInfo.                object: HostName (string, default ""), UpTime (read-only), Port (base 16, default 0),
//                                Enable (boolean, default false), Level (decimal, default 0.0), Bare (no default)
//     IP.Interface.              multi-instance, instances 1 and 2: Enable, Name, IPv4Address. (multi, no instances)
//     Rules.                     ordered multi-instance, instances 1 and 3: index, Text
//     Reset.                     a method with the arguments Delay (no default), Reason (string), Times (int) and the
//                                object More.
#pragma once

#include "tests/support/fake_daemon.h"

namespace test {

// Answers GetParameterNames, GetParameterValues and GetParameterAttributes from the model above, AddObject with the
// instance number 7, anything else with {}. A name that the model lacks gets error 9005. intercept is asked first: true
// when it has dealt with a request itself.
using Intercept = std::function<bool(Peer &peer, const std::string &request)>;
Script answer_from_model(Intercept intercept = {});

}  // namespace test
