// SPDX-License-Identifier: Apache-2.0
// An empty C++ program: what any start of a process costs.
int main()
{
    return 0;
}
