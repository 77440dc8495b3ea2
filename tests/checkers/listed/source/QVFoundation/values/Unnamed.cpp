int unnamed() { return 1; }
