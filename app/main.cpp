#include "app/Quibel_Capture_AgentApp.h"
#include "platform/ProcessMemory.h"

int main(int argc, char* argv[])
{
    quibel::giveBackFreedMemory();
    return quibel::Quibel_Capture_AgentApp::main(argc, argv);
}
