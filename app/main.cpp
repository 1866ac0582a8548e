#include "app/Quibel_Capture_AgentApp.h"

int main(int argc, char* argv[])
{
    return quibel::Quibel_Capture_AgentApp::main(argc, argv);
}
