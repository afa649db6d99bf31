// The transcribe command on its own, for the integration tests: quillon_transcribe_cli FILE...
#include "app/TranscribeCommand.h"

int main(int argc, char** argv) { return quillon::runTranscribeCommand(argc - 1, argv + 1); }
