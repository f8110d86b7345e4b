// SPDX-License-Identifier: MIT
//
// A minimal status tool.
#include <stdio.h>

int main(void)
{
    return puts("Three Admin : off") < 0;
}
