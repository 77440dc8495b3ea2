int named() { return 1; }
