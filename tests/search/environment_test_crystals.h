// The crystals and motifs built in code for the search tests, which the results tests share.
#include "search/search_test_support.h"
