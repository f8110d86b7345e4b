// SPDX-License-Identifier: MIT
//
// As little as a status tool can be.
#include <stdio.h>

int main(void)
{
    return puts("Three Admin : off") < 0;
}
