#include "driver/sweep.h"

int main()
{
    return RunProgram();
}
