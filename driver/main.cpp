#include "driver/program.h"

int main()
{
    return RunProgram();
}
