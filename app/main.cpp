#include "app/Quibel_Capture_AgentApp.h"
#include "platform/CoreDumps.h"
#include "platform/ProcessMemory.h"
#include "platform/ThreadPriority.h"

int main(int argc, char* argv[])
{
    quibel::forbidCoreDumps();
    quibel::giveBackFreedMemory();
    // First, for the threads of the libraries, which bring what the user does, start the same way.
    quibel::letThisThreadInterruptOthers();
    return quibel::Quibel_Capture_AgentApp::main(argc, argv);
}
