union U1 {
	int                        i;                  /*     0     4 */
	float                      f;                  /*     0     4 */
	char                       c[8];               /*     0     8 */
};
