#pragma once

#include <string>

// The X display that offscreen views draw on: the caller's own (DISPLAY) when it answers, else one
// private Xvfb per process, started on first need on a display number it picks itself and stopped
// when the process ends.
class VirtualDisplay
{
public:
  // Makes DISPLAY name a reachable X server whose screen is at least width × height, starting Xvfb
  // when none answers; returns the display's name. Throws WorkpieceError, saying how to get one,
  // when no server answers and Xvfb cannot be started.
  static std::string Ensure(int width, int height);

  // Returns whether an X server answers on `name` (":1", "host:0.0").
  static bool Answers(const std::string& name);

  // Returns the process id of the Xvfb this process started, 0 when it started none.
  static int StartedServer();
};
