struct S4 {
	enum Color {
		Red   = 0,
		Green = 5,
		Blue  = 6,
	};

	enum E8 {
		A = 0,
		B = 1,
	} __attribute__((__packed__));

	union U1                   u;                    /*     0     8 */
	enum Color                 color;                /*     8     4 */
	enum E8                    e8;                   /*    12     1 */

	/* size: 16, cachelines: 1, members: 3 */
	/* padding: 3 */
	/* last cacheline: 16 bytes */
};
