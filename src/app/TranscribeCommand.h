#pragma once

namespace quillon {

// `quillon transcribe [--verbose] FILE...`: transcribes each audio or video file on the device
// and prints its transcript, corrected by the user's corrections, on standard output; with
// several files each transcript follows a "==> FILE <==" line. Progress of long files goes to
// standard error. Needs no display and no sound server.
//
// `argc` and `argv` are the arguments after "transcribe". Returns the exit status: 0 when every
// file was transcribed (silence gives an empty transcript), 1 when any failed (its error text on
// standard error, the other files still done), 2 for a usage error.
int runTranscribeCommand(int argc, char** argv);

}  // namespace quillon
