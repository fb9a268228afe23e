// Control ids of the debugger configuration dialog "RAVEL_CONFIGURE".
// Shared by the resource script and the code, so plain #defines only.
#ifndef RESOURCE_H
#define RESOURCE_H

// The debugger command line and the output-window switch.
#define IDC_EXECUTABLE 3001
#define IDC_OPTIONS 3002
#define IDC_ARGUMENTS 3003
#define IDC_DISPLAY 2000

// The push buttons keep the system's numbers: OK 1, Cancel 2, Help 9.
#define IDC_HELPBUTTON 9

// Each debugger button is a pair of edits: its caption at 4800 + n and its
// command word at 5800 + n. Pair 2 does not exist; the pairs run 1, 3..19.
#define IDC_TXT_BASE 4800
#define IDC_CMD_BASE 5800

#define IDC_TXT_RUN 4801
#define IDC_TXT_CONTINUE 4803
#define IDC_TXT_STEP 4804
#define IDC_TXT_NEXT 4805
#define IDC_TXT_UNTIL 4806
#define IDC_TXT_KILL 4807
#define IDC_TXT_UP 4808
#define IDC_TXT_DOWN 4809
#define IDC_TXT_ARGS 4810
#define IDC_TXT_STACK 4811
#define IDC_TXT_PRINT 4812
#define IDC_TXT_PRINTEX 4813
#define IDC_TXT_LOCALS 4814
#define IDC_TXT_HELP 4815
#define IDC_TXT_BREAKSET 4816
#define IDC_TXT_BREAKCLR 4817
#define IDC_TXT_BREAKALL 4818
#define IDC_TXT_BREAKINFO 4819

#define IDC_CMD_RUN 5801
#define IDC_CMD_CONTINUE 5803
#define IDC_CMD_STEP 5804
#define IDC_CMD_NEXT 5805
#define IDC_CMD_UNTIL 5806
#define IDC_CMD_KILL 5807
#define IDC_CMD_UP 5808
#define IDC_CMD_DOWN 5809
#define IDC_CMD_ARGS 5810
#define IDC_CMD_STACK 5811
#define IDC_CMD_PRINT 5812
#define IDC_CMD_PRINTEX 5813
#define IDC_CMD_LOCALS 5814
#define IDC_CMD_HELP 5815
#define IDC_CMD_BREAKSET 5816
#define IDC_CMD_BREAKCLR 5817
#define IDC_CMD_BREAKALL 5818
#define IDC_CMD_BREAKINFO 5819

#endif
